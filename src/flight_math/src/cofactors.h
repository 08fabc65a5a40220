// Inverse of a well-conditioned matrix up to 4 x 4 by cofactors, a row of them at a time: lane j works on the three
// columns other than j. A smaller matrix is taken as the corner of a 4 x 4 identity. Quick, but in single precision,
// hence only where it loses little.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "lanes.h"

namespace fixed {

// For lane j, the first, second and third of the columns other than j.
struct other_columns {
    lanes first, second, third;
};

inline other_columns others(lanes row)
{
    return {shuffle<1, 0, 0, 0>(row), shuffle<2, 2, 1, 1>(row), shuffle<3, 3, 3, 2>(row)};
}

// The 2 x 2 minors of two rows, and with a third row the 3 x 3 minors.
struct minors {
    lanes second_third, first_third, first_second;

    minors(const other_columns& u, const other_columns& v)
        : second_third(u.second * v.third - u.third * v.second),
          first_third(u.first * v.third - u.third * v.first),
          first_second(u.first * v.second - u.second * v.first)
    {
    }

    lanes with(const other_columns& row) const
    {
        return row.first * second_third - row.second * first_third + row.third * first_second;
    }
};

// False, with `out` untouched, unless the determinant exceeds 1/256 of the product of the column sums (which bounds it)
// and no product can leave the range of floats: the error stays below 5e-5 of the largest element of a row then.
template <size_t N>
inline bool inverse_by_cofactors(fp32* out, const fp32* a)
{
    lanes row[4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
    for (size_t i = 0; i < N; ++i)
        row[i] = load<N>(a + N * i);
    const other_columns r0 = others(row[0]);
    const other_columns r1 = others(row[1]);
    const other_columns r2 = others(row[2]);
    const other_columns r3 = others(row[3]);
    const minors upper(r0, r1);
    const minors lower(r2, r3);
    const lanes cofactor[4] = {lower.with(r1), lower.with(r0), upper.with(r3), upper.with(r2)};

    const lanes terms = row[0] * cofactor[0];
    const lanes pairs = terms - shuffle<1, 0, 3, 2>(terms);
    const fp32 determinant = pairs[0] + pairs[2];
    const lanes sums = (abs(row[0]) + abs(row[1])) + (abs(row[2]) + abs(row[3]));
    const lanes neighbours = shuffle<1, 0, 3, 2>(sums);
    const lanes products = sums * neighbours;
    const lanes totals = sums + neighbours;
    const fp32 bound = products[0] * products[2];
    const fp32 largest = totals[0] + totals[2];
    if (!(std::fabs(determinant) >= bound * 0x1p-8f && bound >= 0x1p-30f && largest <= 0x1p30f)) return false;

    const fp32 factor = 1.0f / determinant;
    const lanes even = flip<0, 1, 0, 1>(lanes{factor, factor, factor, factor});
    const lanes odd = flip<1, 0, 1, 0>(lanes{factor, factor, factor, factor});
    lanes inverse[4] = {cofactor[0] * even, cofactor[1] * odd, cofactor[2] * even, cofactor[3] * odd};
    transpose(inverse);
    for (size_t i = 0; i < N; ++i)
        store<N>(out + N * i, inverse[i]);
    return true;
}

}  // namespace fixed
