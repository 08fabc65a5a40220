#include "kernels.h"
#include "math_gps.h"
#include "math_matrix.h"
#include "math_quaternion.h"

namespace ours {

void multiply4(batch& data)
{
    for (size_t i = 0; i < batch::count; ++i)
        matrix4f_multiply(data.out + 16 * i, data.a + 16 * i, data.b + 16 * i);
}

void multiply9(batch& data)
{
    for (size_t i = 0; i < batch::count; ++i)
        matrix9f_multiply(data.out + 81 * i, data.a + 81 * i, data.b + 81 * i);
}

void inverse4(batch& data)
{
    for (size_t i = 0; i < batch::count; ++i)
        matrix4f_inverse(data.out + 16 * i, data.a + 16 * i);
}

void inverse9(batch& data)
{
    for (size_t i = 0; i < batch::count; ++i)
        matrix9f_inverse(data.out + 81 * i, data.a + 81 * i);
}

void quat_multiply(batch& data)
{
    for (size_t i = 0; i < batch::count; ++i)
        ::quat_multiply(data.out + 4 * i, data.a + 4 * i, data.b + 4 * i);
}

void quat_rotate(batch& data)
{
    for (size_t i = 0; i < batch::count; ++i)
        quat_rotate_vec3f(data.out + 3 * i, data.a + 4 * i, data.b + 3 * i);
}

void gps_distance(batch& data)
{
    for (size_t i = 0; i < batch::count; ++i) {
        data.out[i] = get_gps_distance_and_component(data.b + 2 * i, data.pos_b[i], data.pos_a[i]);
    }
}

void gps_offset(batch& data)
{
    for (size_t i = 0; i < batch::count; ++i)
        get_gps_pos_by_ned_offset(data.pos_out[i], data.b + 2 * i, data.pos_a[i]);
}

}  // namespace ours
