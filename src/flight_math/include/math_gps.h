// Positions on a spherical earth of radius 6378137.0 m, flat between neighbours: good to 5 km, see docs/math.md for the
// error. A position is (latitude, longitude) in radians, north and east positive; offsets are (north, east) in metres.
// Differences of positions are taken in double, the cosine of the latitude in single precision.
//
// Source: the equirectangular projection about one of the two positions.
#pragma once

#include "math_basic.h"
#include "math_vector.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct {
    vec2 gps_pos;  // latitude, longitude in radians
    fp32 alti;     // metres; the functions here neither read nor write it
} pos_gps_3d_t;

// Metres over ground from `pos_a` to `pos_b`, the short way across the date line, with the (north, east) offset in
// `component`. -1, with `component` untouched, when a latitude is beyond pi/2 or a longitude beyond pi (both bounds in
// single precision: 1.5707963705062866 and 3.1415927410125732). The east component uses the parallel of `pos_a`, so the
// way back is not exactly the opposite one. A NaN passes the test and comes out as NaN.
fp32 get_gps_distance_and_component(vec2f component, const vec2 pos_b, const vec2 pos_a);

// The position `offset_ned` = (north, east) metres away from `pos_base`, which may be `pos_tgt`. Near the poles, where
// the cosine of the latitude falls to 1e-7 or less, 1e-7 stands for it. An offset across a pole folds the latitude back
// but does not turn the longitude by pi. An offset across the date line gives latitude - 2 pi (eastward) or latitude +
// 2 pi (westward) as the longitude. That is the agreed behaviour, not a position on earth: keep such offsets off the
// date line.
void get_gps_pos_by_ned_offset(vec2 pos_tgt, const vec2f offset_ned, const vec2 pos_base);

#ifdef __cplusplus
}
#endif
