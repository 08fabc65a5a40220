// Temporary flight restrictions: once a second the areas nearest to the aircraft are looked up in the stored file, and
// one of them goes to the flight controller.
#pragma once

// Starts the timer. A failure is printed and otherwise ignored. Main thread.
void tfr_init();

// The timer's tick. Its thread is the only one that reads the areas and keeps the selection.
void nfz_tfr_timer_handler(void* param);
