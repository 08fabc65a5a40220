// The main jobs from end to end, shown step by step.
#pragma once

#include "demo/stage.h"

namespace cli {

exit_code run_demo(const context_t& context, const demo_options_t& options);

}  // namespace cli
