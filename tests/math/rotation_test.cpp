// Quaternions, the five forms of a rotation and the rates, against Eigen in double. Errors of rotations are the angle
// between what came out and what was wanted, in roundings of a radian.
#include "math_rotation.h"

#include <gmock/gmock.h>

#include <Eigen/Dense>

#include "accuracy.h"
#include "math_kinematic.h"
#include "math_quaternion.h"

namespace {

using Eigen::AngleAxisd;
using Eigen::Quaterniond;
using Eigen::Vector3d;
using math_test::expect_accuracy;
using math_test::source;

constexpr double u = math_test::rounding<float>;
constexpr double pi = 3.14159265358979323846;

// One of the five forms: how many numbers it has, how a random one is made, what rotation it means, and whether it is
// in the range that the header promises.
struct form {
    const char* name;
    int size;
    void (*make)(float*, source&);
    Quaterniond (*meaning)(const float*);
    bool (*in_range)(const float*);
};

bool within(float x, double limit)
{
    return std::fabs(x) <= limit * (1 + 2 * u);
}

// Degenerate angles are whole eighths of a turn, to within 1e-3 to 1e-9, and 0.
float angle(source& inputs, double limit)
{
    if (!inputs.degenerate()) return inputs.between(-limit, limit);
    const double eighth = pi / 4 * inputs.integer(-static_cast<int>(limit / pi * 4), static_cast<int>(limit / pi * 4));
    const double off = inputs.integer(0, 2) * std::pow(10.0, inputs.between(-9.0, -3.0));
    return static_cast<float>(std::clamp(eighth + off, -limit, limit));
}

Quaterniond quat_meaning(const float* q)
{
    return Quaterniond(q[0], q[1], q[2], q[3]).normalized();
}

void make_quat(float* q, source& inputs)
{
    do {
        for (int i = 0; i < 4; ++i)
            q[i] = inputs.element();
    } while (q[0] == 0 && q[1] == 0 && q[2] == 0 && q[3] == 0);
    const Quaterniond unit = quat_meaning(q);
    vec4f_set_value(q, static_cast<float>(unit.w()), static_cast<float>(unit.x()), static_cast<float>(unit.y()),
                    static_cast<float>(unit.z()));
}

Quaterniond about(double by, const Vector3d& axis)
{
    return Quaterniond(AngleAxisd(by, axis));
}

const form forms[] = {
    {"quat", 4, make_quat, quat_meaning, [](const float* q) { return std::fabs(vec4f_norm(q) - 1) <= 5 * u; }},
    {"dcm", 9,
     [](float* dcm, source& inputs) {
         float q[4];
         make_quat(q, inputs);
         const Eigen::Matrix<double, 3, 3, Eigen::RowMajor> exact = quat_meaning(q).toRotationMatrix();
         for (int i = 0; i < 9; ++i)
             dcm[i] = static_cast<float>(exact.data()[i]);
     },
     [](const float* dcm) {
         return Quaterniond(Eigen::Map<const Eigen::Matrix<float, 3, 3, Eigen::RowMajor>>(dcm).cast<double>().eval())
             .normalized();
     },
     [](const float* dcm) {
         const Eigen::Matrix3d m = Eigen::Map<const Eigen::Matrix3f>(dcm).cast<double>();
         return (m * m.transpose() - Eigen::Matrix3d::Identity()).norm() < 20 * u && m.determinant() > 0;
     }},
    {"euler", 3,
     [](float* euler, source& inputs) {
         euler[0] = angle(inputs, pi);
         euler[1] = angle(inputs, pi / 2);
         euler[2] = angle(inputs, pi);
     },
     [](const float* e) {
         return about(e[0], Vector3d::UnitZ()) * about(e[1], Vector3d::UnitY()) * about(e[2], Vector3d::UnitX());
     },
     [](const float* e) { return within(e[0], pi) && within(e[1], pi / 2) && within(e[2], pi); }},
    {"axis_angle", 4,
     [](float* form, source& inputs) {
         make_quat(form, inputs);
         if (form[0] == 0 && form[1] == 0 && form[2] == 0) form[0] = 1;
         vec3f_scale(form, std::ldexp(1.0f, inputs.integer(-10, 10)));  // axes of any length
         form[3] = angle(inputs, 2 * pi);
     },
     [](const float* a) { return about(a[3], Vector3d(a[0], a[1], a[2]).normalized()); },
     [](const float* a) { return within(vec3f_norm(a), 1 + 4 * u) && a[3] >= 0 && within(a[3], pi); }},
    {"tilt_torsion", 3,
     [](float* form, source& inputs) {
         const float tilt = angle(inputs, pi), towards = angle(inputs, pi);
         vec3f_set_value(form, tilt * cosf(towards), tilt * sinf(towards), angle(inputs, pi));
     },
     [](const float* t) {
         const Vector3d tilt(t[0], t[1], 0);
         return about(t[2], Vector3d::UnitZ()) * about(tilt.norm(), tilt.norm() > 0 ? tilt.normalized() : tilt);
     },
     [](const float* t) { return within(hypotf(t[0], t[1]), pi) && within(t[2], pi); }},
};

// By the places of the two forms in the list: from the row's to the column's.
using convert_t = void (*)(float*, const float*);
const convert_t CONVERT[5][5] = {
    {nullptr, quat_to_dcm, quat_to_euler, quat_to_axis_angle, quat_to_tilt_torsion},
    {dcm_to_quat, nullptr, dcm_to_euler, dcm_to_axis_angle, dcm_to_tilt_torsion},
    {euler_to_quat, euler_to_dcm, nullptr, euler_to_axis_angle, euler_to_tilt_torsion},
    {axis_angle_to_quat, axis_angle_to_dcm, axis_angle_to_euler, nullptr, axis_angle_to_tilt_torsion},
    {tilt_torsion_to_quat, tilt_torsion_to_dcm, tilt_torsion_to_euler, tilt_torsion_to_axis_angle, nullptr},
};
// In roundings of a radian.
const double ALLOWED[5][5] = {
    {0, 9, 9, 5, 12}, {6, 0, 8, 8, 13}, {6, 4, 0, 8, 13}, {4, 13, 10, 0, 14}, {6, 13, 12, 8, 0}};

double conversion_error(const form& from, const form& to, convert_t convert, source& inputs)
{
    float in[9], out[9];
    from.make(in, inputs);
    const Quaterniond wanted = from.meaning(in);
    std::fill(out, out + 9, 7.0f);
    convert(out, in);
    if (std::any_of(out + to.size, out + 9, [](float behind) { return behind != 7; })) return 1e9;
    if (!to.in_range(out) || (convert == dcm_to_quat && out[0] < 0)) return 1e9;
    convert(in, in);  // the output may be the input
    if (!std::equal(out, out + to.size, in)) return 1e9;
    const double error = wanted.angularDistance(to.meaning(out)) / u;
    // Near pitch = pi/2 the angles say less and less about the rotation.
    if (to.meaning != forms[2].meaning) return error;
    const Vector3d forward = wanted * Vector3d::UnitX();
    const double cos_pitch = std::hypot(forward.x(), forward.y());
    return cos_pitch < 1e-5 ? 0.0 : error * cos_pitch;
}

TEST(Conversions, KeepTheRotation)
{
    for (size_t i = 0; i < 25; ++i) {
        const form &from = forms[i / 5], &to = forms[i % 5];
        const convert_t convert = CONVERT[i / 5][i % 5];
        if (convert == nullptr) continue;
        const std::string name = std::string(from.name) + "_to_" + to.name;
        expect_accuracy(name.c_str(), ALLOWED[i / 5][i % 5],
                        [&](source& inputs) { return conversion_error(from, to, convert, inputs); });
    }
}

TEST(DegenerateRotations, AreAsTheHeaderSays)
{
    const float zero_axis[4] = {0, 0, 0, 1}, upside_down[4] = {0, 0.6f, 0.8f, 0};
    float q[4], axis_angle[4], tilt_torsion[3], euler[3];
    quat_set_identity(q);
    quat_to_axis_angle(axis_angle, q);
    EXPECT_THAT(axis_angle, testing::ElementsAre(1, 0, 0, 0));
    axis_angle_to_quat(q, zero_axis);
    EXPECT_THAT(q, testing::ElementsAre(1, 0, 0, 0));
    quat_to_tilt_torsion(tilt_torsion, upside_down);
    EXPECT_EQ(tilt_torsion[2], 0.0f);
    EXPECT_NEAR(hypotf(tilt_torsion[0], tilt_torsion[1]), pi, 1e-6);
    const float nose_up[9] = {0, 0, 1, 0, 1, 0, -1, 0, 0};
    dcm_to_euler(euler, nose_up);
    EXPECT_FLOAT_EQ(euler[1], static_cast<float>(pi / 2));
    EXPECT_TRUE(std::isfinite(euler[0]) && std::isfinite(euler[2]));
}

Vector3d make_vector(float* v, source& inputs)
{
    for (int i = 0; i < 3; ++i)
        v[i] = inputs.element();
    return Vector3d(v[0], v[1], v[2]);
}

// Difference to a vector that should have come out, in roundings of its natural size.
double error_of(const float* found, const Vector3d& wanted, double size)
{
    const double error = (Vector3d(found[0], found[1], found[2]) - wanted).norm();
    return error == 0 ? 0.0 : error / size / u;
}

TEST(Quaternion, ProductInverseAndUnitLength)
{
    expect_accuracy({{"quat_multiply", 8.0}, {"quat_inverse", 2.0}, {"quat_normalize", 2.0}}, [](source& inputs) {
        float a[4], b[4], inverse[4];
        make_quat(a, inputs);
        make_quat(b, inputs);
        const Quaterniond product = quat_meaning(a) * quat_meaning(b);
        quat_multiply(b, a, b);  // over an input
        vec4f_scale(a, std::ldexp(1.0f, inputs.integer(-60, 60)));
        const Quaterniond exact(a[0], a[1], a[2], a[3]);
        if (quat_inverse(inverse, a) != 0) return std::array{1e9, 1e9, 1e9};
        const Quaterniond one = exact * Quaterniond(inverse[0], inverse[1], inverse[2], inverse[3]);
        quat_normalize(a);
        const Quaterniond unit(a[0], a[1], a[2], a[3]);
        return std::array{quat_meaning(b).angularDistance(product) / u,
                          (one.coeffs() - Quaterniond::Identity().coeffs()).norm() / u,
                          (unit.coeffs() - exact.normalized().coeffs()).norm() / u};
    });
    float zero[4] = {}, out[4] = {7, 7, 7, 7};
    EXPECT_EQ(quat_inverse(out, zero), MATH_SINGULAR);
    EXPECT_THAT(out, testing::Each(7));
    quat_normalize(zero);
    EXPECT_THAT(zero, testing::ElementsAre(1, 0, 0, 0));
    const float q[4] = {1, 2, -3, 4};
    quat_conjugate(out, q);
    EXPECT_THAT(out, testing::ElementsAre(1, -2, 3, -4));
}

TEST(Quaternion, TurnsVectorsBothWaysLikeItsMatrix)
{
    expect_accuracy({{"quat_rotate_vec3f", 12.0},
                     {"quat_inv_rotate_vec3f", 12.0},
                     {"vec3f_body_to_gnd", 12.0},
                     {"vec3f_gnd_to_body", 12.0}},
                    [](source& inputs) {
                        float q[4], v[3], dcm[9], out[3], back[3], by_matrix[3];
                        make_quat(q, inputs);
                        const Vector3d exact = make_vector(v, inputs);
                        const Vector3d forth = quat_meaning(q) * exact, reverse = quat_meaning(q).conjugate() * exact;
                        quat_to_dcm(dcm, q);
                        vec3f_gnd_to_body(by_matrix, v, dcm);
                        quat_inv_rotate_vec3f(back, q, v);
                        quat_rotate_vec3f(out, q, v);
                        vec3f_body_to_gnd(v, v, dcm);  // over an input
                        return std::array{error_of(out, forth, exact.norm()), error_of(back, reverse, exact.norm()),
                                          error_of(v, forth, exact.norm()), error_of(by_matrix, reverse, exact.norm())};
                    });
}

TEST(Quaternion, ShortestArcLeadsFromOneDirectionToTheOther)
{
    expect_accuracy({{"quat_from_two_vec3f", 8.0}, {"its angle", 8.0}}, [](source& inputs) {
        float from[3], to[3], q[4];
        const Vector3d start = make_vector(from, inputs);
        make_vector(to, inputs);
        if (inputs.integer(0, 9) == 0) {  // almost opposite
            for (int i = 0; i < 3; ++i)
                to[i] = -from[i] * (1.0f + std::ldexp(inputs.element(), -inputs.integer(0, 30)));
        }
        const Vector3d end(to[0], to[1], to[2]);
        quat_from_two_vec3f(q, from, to);
        const Quaterniond turn = quat_meaning(q);
        const double angle = turn.angularDistance(Quaterniond::Identity());
        if (start.norm() == 0 || end.norm() == 0) return std::array{0.0, angle / u};
        const double between = 2 * std::asin(std::min(1.0, 0.5 * (start.normalized() - end.normalized()).norm()));
        return std::array{(turn * start.normalized() - end.normalized()).norm() / u,
                          between > pi - 1e-3 ? 0.0 : (angle - between) / u};  // asin is no judge there
    });
}

TEST(Quaternion, SlerpAndAngleBetween)
{
    expect_accuracy({{"quat_slerp", 16.0}, {"quat_angle_between", 16.0}}, [](source& inputs) {
        float a[4], b[4];
        make_quat(a, inputs);
        make_quat(b, inputs);
        if (inputs.integer(0, 9) == 0) {  // almost equal
            for (int i = 0; i < 4; ++i)
                b[i] = a[i] + std::ldexp(inputs.element(), -inputs.integer(10, 30));
            quat_normalize(b);
        }
        const Quaterniond start = quat_meaning(a), end = quat_meaning(b);
        const double angle = start.angularDistance(end);
        const double angle_error = std::fabs(quat_angle_between(a, b) - angle);
        const float t = inputs.between(-1.0, 2.0);
        quat_slerp(b, a, b, t);
        if (angle > pi - 1e-3) return std::array{0.0, angle_error / u};  // both ways are as short
        return std::array{quat_meaning(b).angularDistance(start.slerp(t, end)) / u, angle_error / u};
    });
}

// The Euler rates against the axes that the three angles turn about: down, the right of the yawed frame, forward.
TEST(Rates, IntegrateExactlyAndBelongTogether)
{
    expect_accuracy(
        {{"quat_integrate_body_rate", 20.0}, {"euler_rate_to_body_rate", 8.0}, {"body_rate_to_euler_rate", 8.0}},
        [](source& inputs) {
            float q[4], rate[3], back[3];
            const float euler[3] = {angle(inputs, pi), angle(inputs, 1.5), angle(inputs, pi)};
            make_quat(q, inputs);
            const Vector3d exact = make_vector(rate, inputs);
            const float dt = inputs.between(-3.0, 3.0);
            const Vector3d turn = exact * dt;
            const Quaterniond after =
                quat_meaning(q) * (turn.norm() > 0 ? about(turn.norm(), turn.normalized()) : Quaterniond::Identity());
            quat_integrate_body_rate(q, q, rate, dt);

            const Vector3d right = about(euler[0], Vector3d::UnitZ()) * Vector3d::UnitY();
            const Vector3d body =
                forms[2].meaning(euler).conjugate() * (exact[0] * Vector3d::UnitZ() + exact[1] * right) +
                exact[2] * Vector3d::UnitX();
            euler_rate_to_body_rate(rate, euler, rate);
            if (body_rate_to_euler_rate(back, euler, rate) != 0) return std::array{1e9, 1e9, 1e9};
            const double cos_pitch = std::cos(euler[1]);
            return std::array{quat_meaning(q).angularDistance(after) / u, error_of(rate, body, exact.norm()),
                              error_of(back, exact, exact.norm()) * cos_pitch * cos_pitch};
        });
    const float nose_up[3] = {0, static_cast<float>(pi / 2), 0}, rate[3] = {1, 2, 3};
    float out[3] = {7, 7, 7};
    EXPECT_EQ(body_rate_to_euler_rate(out, nose_up, rate), MATH_SINGULAR);
    EXPECT_THAT(out, testing::Each(7));
}

TEST(DirectionCosines, AreMadeOrthonormalAgain)
{
    expect_accuracy({{"dcm_orthonormalize", 12.0}, {"its first row", 12.0}}, [](source& inputs) {
        Eigen::Matrix<float, 3, 3, Eigen::RowMajor> dcm;
        forms[1].make(dcm.data(), inputs);
        dcm.row(0) *= 1.5f;
        for (int i = 0; i < 9; ++i)
            dcm.data()[i] += 1e-3f * inputs.element();
        const Vector3d kept = dcm.row(0).cast<double>().normalized();
        if (dcm_orthonormalize(dcm.data()) != 0) return std::array{1e9, 1e9};
        const Eigen::Matrix3d found = dcm.cast<double>();
        const double off = (found * found.transpose() - Eigen::Matrix3d::Identity()).norm();
        return std::array{std::max(off, std::fabs(found.determinant() - 1)) / u,
                          (found.row(0).transpose() - kept).norm() / u};
    });
    const float parallel[9] = {1, 2, 3, -2, -4, -6, 0, 0, 1};
    float dcm[9];
    std::copy(parallel, parallel + 9, dcm);
    EXPECT_EQ(dcm_orthonormalize(dcm), MATH_SINGULAR);
    EXPECT_THAT(dcm, testing::ElementsAreArray(parallel));
}

}  // namespace
