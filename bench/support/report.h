// What a benchmark prints: one row per figure, as a table for people or as JSON with the machine it was measured on.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace bench {

struct summary {
    double median;
    double p99;
};

// Median and 99th percentile (nearest rank). `values` must not be empty.
summary summarise(std::vector<double> values);

struct row {
    std::string name;
    double value = 0.0;
    std::string unit;
    std::optional<double> ratio;  // against the peer or limit measured in the same run
    std::optional<double> goal;   // the most that `ratio`, or without a ratio `value`, may be

    // Empty without a goal.
    std::optional<bool> met() const;
};

class report {
public:
    void add(row one) { rows_.push_back(std::move(one)); }

    // On standard output: an aligned table, or {"machine": {...}, "rows": [...]} with null for what a row does not
    // have.
    void print(bool as_json) const;

private:
    void print_table() const;
    void print_json() const;

    std::vector<row> rows_;
};

// What tells one machine's figures from another's, as pairs of key and text.
std::vector<std::pair<std::string, std::string>> describe_machine();

}  // namespace bench
