#pragma once

// Everything public of the library in one include.
#include "imagemodel/imagemodel.h"
#include "ipbase/ipArith.h"
#include "ipbase/ipConvert.h"
#include "ipbase/ipCopy.h"
#include "ipbase/ipFrame.h"
#include "ipbase/ipLArith.h"
#include "ipbase/ipLLogic.h"
#include "ipbase/ipLMapLut.h"
#include "ipbase/ipLMinMax.h"
#include "ipbase/ipLRange.h"
#include "ipbase/ipLShift.h"
#include "ipbase/ipLThreshold.h"
#include "ipbase/ipLTrans.h"
#include "ipbase/ipLUnwrap.h"
#include "ipbase/ipMul.h"
#include "ipbase/ipSwap.h"
