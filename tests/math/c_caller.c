// The headers as a C program uses them: arrays that are and are not const, on the stack and inside a record.
#include "math_gps.h"
#include "math_kinematic.h"
#include "math_matrix.h"
#include "math_quaternion.h"
#include "math_rotation.h"

float distance_from_c(void);
int inverse_from_c(float* corner);

float distance_from_c(void)
{
    const pos_gps_3d_t home = {{0.0, 0.0}, 12.5f};
    pos_gps_3d_t aircraft = home;
    vec2f offset;
    vec2_set_value(aircraft.gps_pos, 0.0, 0.001);
    return get_gps_distance_and_component(offset, aircraft.gps_pos, home.gps_pos);
}

int inverse_from_c(float* corner)
{
    matrix3f m = {2, 0, 0, 0, 4, 0, 0, 0, 8};
    vec3f v = {1, 0, 0};
    vec4f q;
    quat_set_identity(q);
    quat_rotate_vec3f(v, q, v);
    const int result = matrix3f_inverse(m, m);
    *corner = m[8] * v[0];
    return result;
}
