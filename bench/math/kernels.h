// The kernels that are measured, each side of a comparison behind the same kind of function: arrays in, arrays out, the
// code in another file than the loop, as a caller of the library has it. Matrices row by row, quaternions w, x, y, z.
#pragma once

#include <cstddef>

// One batch of inputs and room for the results; `a` and `b` hold `count` operands one behind the other.
struct batch {
    static constexpr size_t count = 64;
    static constexpr size_t largest = 81;

    alignas(64) float a[count * largest];
    alignas(64) float b[count * largest];
    alignas(64) float out[count * largest];
    double pos_a[count][2];
    double pos_b[count][2];
    double pos_out[count][2];
};

// Runs a kernel once over the batch.
using kernel = void (*)(batch&);

namespace ours {
void multiply4(batch& data);
void multiply9(batch& data);
void inverse4(batch& data);
void inverse9(batch& data);
void quat_multiply(batch& data);
void quat_rotate(batch& data);
void gps_distance(batch& data);
void gps_offset(batch& data);
}  // namespace ours

// Eigen in float, through maps of the same arrays. `checked` asks Eigen, too, whether the matrix has an inverse.
// `inlined` lets Eigen melt into the loop, which a function of a library cannot.
namespace eigen {
void multiply4(batch& data);
void multiply9(batch& data);
void inverse4(batch& data);
void inverse4_checked(batch& data);
void inverse9(batch& data);
void quat_multiply(batch& data);
void quat_multiply_inlined(batch& data);
void quat_rotate(batch& data);
void quat_rotate_inlined(batch& data);
}  // namespace eigen

// The same formula written down in double.
namespace plain {
void gps_distance(batch& data);
void gps_offset(batch& data);
}  // namespace plain
