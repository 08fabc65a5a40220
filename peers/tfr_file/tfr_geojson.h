// Restrictions as GeoJSON, for people and their map programs: a FeatureCollection of Points with a radius and of
// Polygons. docs/tfr-files.md describes every member.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tfr_file/tfr_file.h"

namespace peers {

// Where a text is wrong, what is there, and what is wanted.
struct tfr_problem_t {
    size_t feature = 0;  // 1 for the first; 0: the text as a whole
    size_t line = 0;     // of a syntax error, else 0
    size_t column = 0;
    std::string property = {};  // may be empty
    std::string reason;

    std::string text() const;  // "feature 3: "radius" is 70000, …"
};

// A circle that was computed because the text does not give all of it.
struct tfr_computed_t {
    size_t feature;
    bool center;  // else it was given
    bool radius;  // else it was given
};

struct tfr_geojson_t {
    static constexpr size_t LISTED = 20;

    tfr_recipe_t recipe;                  // to be used without problems only; area k comes from feature k
    std::vector<tfr_problem_t> problems;  // the first LISTED of them
    size_t problem_count = 0;             // all
    std::vector<tfr_computed_t> computed;
    std::vector<std::string> unknown;  // property names without a meaning here, each once
};

tfr_geojson_t read_tfr_geojson(std::string_view text);

// Reading the result gives the same recipe, and with it the same file, byte for byte. Positions beyond 180 or 90
// degrees, which a file can hold, are written but not read back. Without a uid in the recipe none is written.
std::string write_tfr_geojson(const tfr_recipe_t& recipe);

}  // namespace peers
