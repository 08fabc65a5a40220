// Gives up an upgrade whose app has gone quiet.
#pragma once

// Restarts the 20 s of silence. Each of entry, start, data and end calls it first, also when it is refused.
void upgrade_reset_supervisor_start_time();

// True while an upgrade runs.
bool upgrade_supervisor_need_check();

// Upgrade timer, every 0.5 s: after more than 20000 ms of silence the session fails and its file is emptied. May block
// on the mount command.
void upgrade_supervisor();
