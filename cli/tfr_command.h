// The commands of `vela tfr`, and what they share.
#pragma once

#include "command.h"
#include "files.h"
#include "tfr_file/tfr_file.h"
#include "tfr_selection.h"

namespace cli {

void add_tfr_make(CLI::App& group, context_t& context);
void add_tfr_inspect(CLI::App& group, context_t& context);
void add_tfr_send(CLI::App& group, context_t& context);
void add_tfr_nearest(CLI::App& group, context_t& context);
void add_tfr_map(CLI::App& group, context_t& context);

// What the service would do with a file that is not sound, and why.
std::string unsound_text(const peers::tfr_report_t& report);

// What the service would say to the file, as JSON; without its areas.
json report_json(const peers::tfr_report_t& report);

// The areas that the service would push to an aircraft there, as it selects them; degrees.
tfr_info_t nearest_areas(const std::vector<vela_tfr_item_t>& areas, double latitude, double longitude);

json area_json(const vela_tfr_item_t& area);

std::string count_text(size_t count, const char* what);   // "1 area", "2 areas"
std::string kind_text(const vela_tfr_item_t& area);       // "circle", "polygon of 4"
std::string position_text(const vela_tfr_gps& position);  // "48.137154, 11.576124": latitude first

// At most 20 of them as lines that are indented by two spaces, and how many more there are.
std::string list_text(const std::vector<std::string>& lines, size_t count);

}  // namespace cli
