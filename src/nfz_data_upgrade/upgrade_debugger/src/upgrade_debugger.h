// The upgrade module's log.
#pragma once

// One line "[nfz_upgrade][ seconds][tag]text" without a line feed of its own: the text brings it. Any thread.
void nfz_upgrade_log(const char* tag, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Console printing, switched off; call sites stay.
void nfz_upgrade_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
