#include <Eigen/Dense>

#include "kernels.h"

namespace eigen {
namespace {

template <int N>
using matrix = Eigen::Matrix<float, N, N, Eigen::RowMajor>;

// The library's functions are called, so these are too.
#define CALLED [[gnu::noinline]]

template <int N>
CALLED void multiply(float* out, const float* a, const float* b)
{
    Eigen::Map<matrix<N>> result(out);
    result.noalias() = Eigen::Map<const matrix<N>>(a) * Eigen::Map<const matrix<N>>(b);
}

template <int N>
CALLED void inverse(float* out, const float* a)
{
    Eigen::Map<matrix<N>> result(out);
    result = Eigen::Map<const matrix<N>>(a).inverse();
}

CALLED bool invert_checked(float* out, const float* a)
{
    bool invertible = false;
    matrix<4> inverted;
    Eigen::Map<const matrix<4>>(a).computeInverseWithCheck(inverted, invertible, 1e-12f);
    if (invertible) Eigen::Map<matrix<4>>{out} = inverted;
    return invertible;
}

// Eigen stores x, y, z, w; both sides of the product are in the same order, so the work is the same.
inline void product(float* out, const float* a, const float* b)
{
    Eigen::Map<Eigen::Quaternionf> result(out);
    result = Eigen::Map<const Eigen::Quaternionf>(a) * Eigen::Map<const Eigen::Quaternionf>(b);
}

inline void rotation(float* out, const float* q, const float* v)
{
    Eigen::Map<Eigen::Vector3f> result(out);
    result = Eigen::Map<const Eigen::Quaternionf>(q) * Eigen::Map<const Eigen::Vector3f>(v);
}

CALLED void called_product(float* out, const float* a, const float* b)
{
    product(out, a, b);
}

CALLED void called_rotation(float* out, const float* q, const float* v)
{
    rotation(out, q, v);
}

}  // namespace

void multiply4(batch& data)
{
    for (size_t i = 0; i < batch::count; ++i)
        multiply<4>(data.out + 16 * i, data.a + 16 * i, data.b + 16 * i);
}

void multiply9(batch& data)
{
    for (size_t i = 0; i < batch::count; ++i)
        multiply<9>(data.out + 81 * i, data.a + 81 * i, data.b + 81 * i);
}

void inverse4(batch& data)
{
    for (size_t i = 0; i < batch::count; ++i)
        inverse<4>(data.out + 16 * i, data.a + 16 * i);
}

void inverse4_checked(batch& data)
{
    for (size_t i = 0; i < batch::count; ++i)
        invert_checked(data.out + 16 * i, data.a + 16 * i);
}

void inverse9(batch& data)
{
    for (size_t i = 0; i < batch::count; ++i)
        inverse<9>(data.out + 81 * i, data.a + 81 * i);
}

void quat_multiply(batch& data)
{
    for (size_t i = 0; i < batch::count; ++i)
        called_product(data.out + 4 * i, data.a + 4 * i, data.b + 4 * i);
}

void quat_multiply_inlined(batch& data)
{
    for (size_t i = 0; i < batch::count; ++i)
        product(data.out + 4 * i, data.a + 4 * i, data.b + 4 * i);
}

void quat_rotate(batch& data)
{
    for (size_t i = 0; i < batch::count; ++i)
        called_rotation(data.out + 3 * i, data.a + 4 * i, data.b + 3 * i);
}

void quat_rotate_inlined(batch& data)
{
    for (size_t i = 0; i < batch::count; ++i)
        rotation(data.out + 3 * i, data.a + 4 * i, data.b + 3 * i);
}

}  // namespace eigen
