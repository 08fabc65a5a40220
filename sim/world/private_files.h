// The file system of a run: nothing of it is seen by others, and nothing is left of it.
#pragma once

#include <string>

namespace sim {

// Gives this process an empty /tmp of its own, with the aircraft's directories and a file system at /tmp/NFZ that can
// be remounted, and makes / the working directory. Before the first thread. False with `error` filled, which says what
// to do.
bool make_private_files(std::string& error);

}  // namespace sim
