// Start-up of the no-fly-zone database upgrade.
#pragma once

// Session record, upgrade client, check of the database on the device, upgrade timer. Main thread, once; failures are
// logged and ignored. Reads the whole database.
void upgrade_init();

// Entry of the upgrade timer, every 0.5 s: announcement, supervisor, motor interlock.
void nfz_upgrade_timer_handler(void* param);
