// The counters of all endpoints of this process, printed on standard error when it gets SIGUSR1.
#pragma once

#include "counters.h"

namespace tarn {

// Adds an endpoint to the report. The first one installs the signal's handler, where nobody has changed what the signal
// does. The counters must stay until stats_report_remove.
void stats_report_add(const counters& endpoint);
void stats_report_remove(const counters& endpoint);

// Readable when a report is wanted; -1 when there is no handler. Every client's task watches it.
int stats_report_fd();
// Prints the report if it is still wanted: of all tasks that were woken the first one does it.
void stats_report_answer();

}  // namespace tarn
