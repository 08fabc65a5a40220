// Switches the data file system between read-only and writable. Each runs a mount command and waits for it.
#pragma once

// 1 when the command ran to its end, whatever its exit status (an aircraft without a mount of its own there is served
// as well); 0 when it could not be run or was killed. All logged.
int upgrade_remount_rw();
int upgrade_remount_ro();

// The common part; `command` must be one of the two constant commands or null (0).
int upgrade_remount(const char* command);
