// vela afqt check: a motion list, looked through before it is flown.
#pragma once

#include <string>

#include "command.h"
#include "motion_list/list_check.h"

namespace cli {

void add_afqt_check(CLI::App& group, context_t& context);

// Looks through a list that is about to be flown; one that cannot be seen from here may fly. False, after it said why,
// when the service should not be told to; never with `force`.
bool list_may_fly(const context_t& context, const std::string& path, bool force);

// "LIST.json:3:12: error: …", a line each, like a compiler; on a terminal with the source line and a mark below.
std::string findings_text(const std::string& file, const std::string& text, const peers::findings_t& findings);
json findings_json(const peers::findings_t& findings);

// "2 errors, 1 warning"
std::string counts_text(const peers::list_check_t& check);

// In a few words: "velocity x: 2 steps of 2 m/s, 3 s each, at rest between them".
std::string entry_words(const peers::list_entry_t& entry);

// Entries, times and bounds, for people and for scripts.
void print_predictions(const peers::list_check_t& check);
json predictions_json(const peers::list_check_t& check);

// gnuplot's commands for a picture of what is commanded, and where that leads on paper.
std::string commands_picture(const peers::list_check_t& check, const std::string& title, const std::string& file);

}  // namespace cli
