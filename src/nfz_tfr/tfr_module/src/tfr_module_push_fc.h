// Hands the kept areas to the flight controller, one a call.
#pragma once

// Sends the next area of the round, nearest first; an all-zero record when none is kept. Timer thread; no heap.
void flight_push_tfr_to_fc();
