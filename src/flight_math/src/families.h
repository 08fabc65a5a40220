// Names for the operations of a family of types; what they do is in namespace fixed.
#pragma once

#include "fixed_vector.h"

// FAMILY(N) for every size of float vectors and matrices.
#define FOR_EACH_SIZE(FAMILY) FAMILY(2) FAMILY(3) FAMILY(4) FAMILY(5) FAMILY(6) FAMILY(7) FAMILY(8) FAMILY(9)

// What vectors and matrices do element by element; `count` is the number of elements.
// clang-format off
#define ELEMENTWISE_FAMILY(type, scalar, count)                                             \
    void type##_copy(type dst, const type src) { fixed::copy<count>(dst, src); }            \
    void type##_set_zero(type out) { fixed::set_zero<count>(out); }                         \
    void type##_add(type out, const type a, const type b) { fixed::add<count>(out, a, b); } \
    void type##_sub(type out, const type a, const type b) { fixed::sub<count>(out, a, b); } \
    void type##_scale(type out, scalar s) { fixed::scale<count>(out, s); }
// clang-format on
