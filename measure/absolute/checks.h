#pragma once

#include "measure/absolute/decision.h"
#include "measure/absolute/decodestate.h"

namespace measure {

// Each of these compares what the scan file says with what the pictures show, notes the figures in
// state.result.checks, adds warnings, and throws InputError with the likely mistake where the two cannot belong
// together.

// The numbers of a description, which need not come from a file that was read.
void CheckDescription(const CodedAxis& axis);

// Counts, sizes and types of all pictures.
void CheckPictures(const CodedAxis& axis, const AxisPictures& pictures);

// Sets of more than three frames: warns when another order of the frames fits better.
void CheckFrameOrder(DecodeState& state);

// Warns of three frames of the finest set between which the light changed.
void CheckFlicker(DecodeState& state);

// Warns of frames of a set that do not belong together, or show the same.
void NoteMisfits(DecodeState& state);

// Warns when a set, or a pair of pictures (see FindPair), shows all of the picture in another place than the finest
// set.
void CheckShifts(DecodeState& state);

// All sets must see the same mean brightness.
void CheckMeans(DecodeState& state);

// Warns when that, or the fit of the frames of the finest set, is wrong in a part of the picture.
void CheckTiles(DecodeState& state);

// Warns when a pair of pictures (see FindPair) has another mean than the finest set in a part of the picture, and light
// does not explain that.
void CheckPairTiles(DecodeState& state);

// The share of the valid pixels in parts of the picture where neighbours have replaced many orders that were not in
// doubt by noise, having a lead, and the result still jumps nearby: whole areas may have a wrong order there.
double ShareOfTornParts(const DecodeState& state, const cv::Mat1f& phase, const OwnOrders& orders,
                        const GrownOrders& grown);

// The share of the valid pixels in parts of the picture where the phases of the sets fit to no order; `deviations` as
// in OwnOrders.
double ShareOfMisfits(const cv::Mat1f& deviations, const cv::Mat1b& mask);

// Phases must fit to each other as the periods say. Returns, per set, by how many radians it is off on average; what
// remains of ripple and light, the finest set taken as right.
std::vector<double> CheckRelations(DecodeState& state);

// Pictures of a Gray code must differ, and with inverse ones, where there are any, be pairs.
void CheckPairs(DecodeState& state);

// Where a scan without a code covers the length of the projector, no surface runs on from its last order to its first.
void CheckSeams(DecodeState& state, const cv::Mat1f& phase, const cv::Mat1s& order);

// Warns of a picture of a Gray code that shows hardly any difference between bright and dark.
void CheckContrast(DecodeState& state);

// The pictures of a Gray code must be as bright and dark as their threshold, or the fringes, ask for.
void CheckLevels(DecodeState& state);

// The cells of a Gray code must follow each other, with the phase, and begin where a given origin says. Returns what
// their borders tell, per set: its phase at the position 0 in radians; empty when there are too few of them.
std::vector<double> CheckCode(DecodeState& state, const GrayDecoding& code);

// Warns of a result that cannot be trusted as a whole: many orders corrected, be it in a part only, dropped or missing,
// surfaces torn where the code changes, positions beyond the projector, saturation. Throws NothingUsable where hardly
// any usable pixel has found its order.
void NoteDoubts(DecodeState& state);

}  // namespace measure
