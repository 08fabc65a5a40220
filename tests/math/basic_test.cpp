// Scalars, headings and Euler angles: the values that are fixed, to the last bit.
#include "math_basic.h"

#include <gmock/gmock.h>

#include <bit>

#include "accuracy.h"
#include "math_kinematic.h"
#include "math_rotation.h"

// In c_caller.c.
extern "C" {
float distance_from_c(void);
int inverse_from_c(float* corner);
}

namespace {

using math_test::expect_accuracy;
using math_test::source;

constexpr float pi = 3.1415927f;
constexpr double u = math_test::rounding<float>;

uint32_t bits(float x)
{
    return std::bit_cast<uint32_t>(x);
}

TEST(Scalars, ConstrainTriesTheUpperBoundFirstAndSignHasADeadBand)
{
    EXPECT_EQ(float_constrain(5, 0, 3), 3);
    EXPECT_EQ(float_constrain(-1, 0, 3), 0);
    EXPECT_EQ(float_constrain(2, 0, 3), 2);
    EXPECT_EQ(float_constrain(5, 4, 3), 3);  // min > max
    EXPECT_EQ(float_constrain(3.5f, 4, 3), 3);
    EXPECT_TRUE(std::isnan(float_constrain(NAN, 0, 3)));
    EXPECT_EQ(float_sign(-2e-17f), -1);
    EXPECT_EQ(float_sign(2e-17f), 1);
    EXPECT_EQ(float_sign(1e-17f), 0);  // the float is a little less than 1e-17
    EXPECT_EQ(float_sign(std::nextafter(1e-17f, 1.0f)), 1);
    EXPECT_EQ(float_sign(NAN), 0);
}

TEST(Scalars, InterpolationHoldsTheEndsAndTakesTheSegmentOnTheRight)
{
    const float x[] = {0, 10, 10, 20}, y[] = {0, 100, 200, 220};
    const auto at = [&](float input, uint8_t points) { return float_linear_interpolation(input, x, y, points); };
    EXPECT_EQ(at(-1, 2), 0);
    EXPECT_EQ(at(5, 2), 50);
    EXPECT_EQ(at(10, 2), 100);
    EXPECT_EQ(at(20, 2), 100);
    EXPECT_EQ(at(10, 4), 200);  // the step
    EXPECT_EQ(at(15, 4), 210);
    EXPECT_EQ(at(-5, 1), 0);
    EXPECT_EQ(at(5, 0), 0);
    EXPECT_EQ(at(NAN, 4), 220);
    // Multiplied first, then divided: the slope first would give 0.50999999.
    const float tenths_x[] = {0.1f, 0.7f}, tenths_y[] = {0.3f, 0.9f};
    EXPECT_EQ(float_linear_interpolation(0.31f, tenths_x, tenths_y, 2), 0.51000005f);
}

TEST(Scalars, InverseRootIsAnEstimateNearZeroOnly)
{
    EXPECT_EQ(float_inv_sqrt(4.0f), 0.5f);
    EXPECT_EQ(float_inv_sqrt(2e-17f), 1.0f / sqrtf(2e-17f));
    EXPECT_EQ(bits(float_inv_sqrt(1e-17f)), bits(fast_inv_sqrt(1e-17f)));
    EXPECT_NE(float_inv_sqrt(1e-17f), 1.0f / sqrtf(1e-17f));
    EXPECT_TRUE(std::isnan(float_inv_sqrt(-1.0f)));
    // Worked by hand: the bits 0x5F375A86, times 1.5.
    EXPECT_EQ(bits(float_inv_sqrt(0.0f)), bits(std::bit_cast<float>(0x5F375A86u) * 1.5f));
    // 0x5F375A86 - (0x3F800000 >> 1), then one step.
    const float estimate = std::bit_cast<float>(0x3F775A86u);
    EXPECT_EQ(bits(fast_inv_sqrt(1.0f)), bits(estimate * (1.5f - 0.5f * estimate * estimate)));
    // Half of x, times y, times y; y squared first would end in ...eap-1.
    EXPECT_EQ(fast_inv_sqrt(0x1.8bea74p+1f), 0x1.22f4ecp-1f);
    // The shift keeps the sign.
    const float negative = std::bit_cast<float>(0x5F375A86u - 0xC0000000u);
    EXPECT_EQ(bits(fast_inv_sqrt(-0.0f)), bits(negative * 1.5f));
    expect_accuracy({{"fast_inv_sqrt", 0.0018}, {"float_inv_sqrt", 2.0}}, [](source& inputs) {
        const float x = std::ldexp(inputs.between(0.5, 1.0), inputs.integer(-55, 120));
        const double root = std::sqrt(double{x});
        return std::array{std::fabs(fast_inv_sqrt(x) * root - 1), std::fabs(float_inv_sqrt(x) * root - 1) / u};
    });
}

TEST(Headings, BodyVectorsBecomeNorthAndEast)
{
    float out[2] = {3, 4};
    convert_vec2f_from_refA_to_refB(out, out, pi / 2, 0);  // facing east: forward is east, right is south
    EXPECT_NEAR(out[0], -4, 1e-6);
    EXPECT_NEAR(out[1], 3, 1e-6);
    float matrix[4];
    get_DCM2f_from_tors_angle(matrix, 0.3f);
    EXPECT_THAT(matrix, testing::ElementsAre(cosf(0.3f), -sinf(0.3f), sinf(0.3f), cosf(0.3f)));
    const float v[2] = {3, 4};
    vec2f_body_to_gnd(out, v, matrix);
    EXPECT_THAT(out, testing::ElementsAre(matrix[0] * 3 + matrix[1] * 4, matrix[2] * 3 + matrix[3] * 4));
    vec2f_gnd_to_body(out, out, matrix);
    EXPECT_THAT(out, testing::ElementsAre(testing::FloatEq(3), testing::FloatEq(4)));
}

TEST(Headings, DifferencesAreBroughtBackByOneTurnInSinglePrecision)
{
    const auto turn = [](float from, float to, float by) {
        const float in[2] = {1, 0};
        float out[2];
        convert_vec2f_from_refA_to_refB(out, in, from, to);
        EXPECT_EQ(out[0], cosf(by)) << from << " to " << to;
        EXPECT_EQ(out[1], sinf(by)) << from << " to " << to;
    };
    turn(3.0f, -3.0f, 6.0f - 6.2831855f);
    turn(-3.0f, 3.0f, -6.0f + 6.2831855f);
    turn(pi, 0.0f, pi - 6.2831855f);  // pi itself turns round
    turn(-pi, 0.0f, -pi + 6.2831855f);
    turn(20.0f, 0.0f, 20.0f - 6.2831855f);  // once only
    turn(1.0f, 0.25f, 0.75f);
}

TEST(EulerAngles, HaveExactlyTheseSinglePrecisionSums)
{
    expect_accuracy("quat_to_euler, to the bit", 0.0, [](source& inputs) {
        const float w = inputs.element(), x = inputs.element(), y = inputs.element(), z = inputs.element();
        const float q[4] = {w, x, y, z};
        float out[3];
        quat_to_euler(out, q);
        const float a = 1 - 2 * (y * y + z * z), b = 2 * (x * y + w * z);
        const bool same = bits(out[0]) == bits(atan2f(b, a)) &&
                          bits(out[1]) == bits(atan2f(-2 * (x * z - w * y), sqrtf(a * a + b * b))) &&
                          bits(out[2]) == bits(atan2f(2 * (y * z + w * x), 1 - 2 * (x * x + y * y)));
        return same ? 0.0 : 1.0;
    });
}

TEST(Headers, ServeACProgram)
{
    float corner = 0;
    EXPECT_FLOAT_EQ(distance_from_c(), 6378.137f);
    EXPECT_EQ(inverse_from_c(&corner), 0);
    EXPECT_EQ(corner, 0.125f);
}

}  // namespace
