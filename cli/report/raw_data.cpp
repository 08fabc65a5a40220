#include "report/raw_data.h"

#include <zlib.h>

#include <cmath>
#include <cstdio>

#include "flight_controller/flight_log.h"

namespace cli {
namespace {

constexpr size_t MOST_ROWS = 12000;  // about 1.5 MiB in the page

std::string base64(const std::string& bytes)
{
    static constexpr char DIGITS[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (size_t i = 0; i < bytes.size(); i += 3) {
        unsigned group = 0;
        for (size_t k = i; k < i + 3; k++)
            group = group << 8 | (k < bytes.size() ? static_cast<unsigned char>(bytes[k]) : 0u);
        for (size_t k = 0; k < 4; k++)
            text += i + k > bytes.size() ? '=' : DIGITS[group >> (18 - 6 * k) & 63];
    }
    return text;
}

// Empty when memory is out.
std::string gzip(const std::string& text)
{
    constexpr int GZIP_HEAD = 16;
    z_stream stream = {};
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, MAX_WBITS + GZIP_HEAD, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return {};
    std::string packed(deflateBound(&stream, text.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    const int end = deflate(&stream, Z_FINISH);
    packed.resize(end == Z_STREAM_END ? stream.total_out : 0);
    deflateEnd(&stream);
    return packed;
}

std::string csv_of(const peers::FlightRows& rows, size_t stride)
{
    std::string csv = "time_s";
    std::vector<std::span<const double>> columns;
    for (const peers::flight_column_t& column : peers::flight_columns()) {
        csv += std::string(",") + column.heading;
        columns.push_back(rows.column(column.topic, column.field));
    }
    csv += '\n';
    char cell[48];
    for (size_t row = 0; row < rows.size(); row += stride) {
        csv.append(cell, static_cast<size_t>(std::snprintf(cell, sizeof cell, "%.9g", rows.times()[row])));
        for (const std::span<const double>& column : columns) {
            csv += ',';
            if (!std::isfinite(column[row])) continue;
            csv.append(cell, static_cast<size_t>(std::snprintf(cell, sizeof cell, "%.5g", column[row])));
        }
        csv += '\n';
    }
    return csv;
}

}  // namespace

raw_data_t raw_data_of(const flight_run_t& run)
{
    const size_t rows = run.rows->size();
    const size_t stride = (rows + MOST_ROWS - 1) / MOST_ROWS;
    const double seconds = run.rows->times().back() - run.rows->times().front();
    raw_data_t data;
    data.csv_gz = base64(gzip(csv_of(*run.rows, stride)));
    if (seconds > 0) data.rate_hz = static_cast<double>(rows - 1) / seconds / static_cast<double>(stride);
    return data;
}

}  // namespace cli
