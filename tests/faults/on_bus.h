// For rows of the kernel: what only a process has.
#pragma once

#include "row.h"
#include "stage/real_world.h"

// Of a row that runs on the real bus only.
RealWorld& real(Run& run);
