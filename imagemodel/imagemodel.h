#pragma once

// The whole image model: values, arrays, texts, errors, images, look-up tables, modules, boards and the version.
#include "imagemodel/kraoi.h"
#include "imagemodel/kraoiinfo.h"
#include "imagemodel/krarrays.h"
#include "imagemodel/krboard.h"
#include "imagemodel/krbufferaoi.h"
#include "imagemodel/krdll.h"
#include "imagemodel/krexception.h"
#include "imagemodel/krlut.h"
#include "imagemodel/krstring.h"
#include "imagemodel/krvalues.h"
#include "imagemodel/version.h"
