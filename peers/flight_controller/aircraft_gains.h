// The numbers of the simulated aircraft. Every gain follows from the motors' lag and the poles wanted, so that the
// responses in loop_response.h are exact for small signals; docs/simulated-aircraft.md has the reasoning.
#pragma once

namespace peers {

inline constexpr double STEP_S = 0.001;
inline constexpr double GRAVITY = 9.80665;    // m/s2
inline constexpr double MOTOR_LAG_S = 0.020;  // first order, thrust and torques alike
inline constexpr double DRAG = 0.05;          // deceleration per speed through the air, 1/s

// A rate loop inside an angle (or height) loop behind the motors' lag: three poles, of which two fall together at
// `slow` and the third is what the lag leaves over.
struct cascade_gains_t {
    double slow;   // 1/s, double pole
    double fast;   // 1/s
    double inner;  // 1/s, rate error to acceleration
    double outer;  // 1/s, error to rate
};

constexpr cascade_gains_t cascade(double slow)
{
    const double fast = 1 / MOTOR_LAG_S - 2 * slow;
    const double inner = (slow * slow + 2 * slow * fast) * MOTOR_LAG_S;
    return {slow, fast, inner, slow * slow * fast * MOTOR_LAG_S / inner};
}

// As fast as the lag allows without overshoot: all three poles together.
inline constexpr cascade_gains_t TILT_GAINS = cascade(1 / (3 * MOTOR_LAG_S));
inline constexpr cascade_gains_t YAW_GAINS = cascade(5.0);
inline constexpr cascade_gains_t HEIGHT_GAINS = cascade(3.0);

// Speed error to acceleration: the most that makes no overshoot behind the tilt loop.
inline constexpr double SPEED_GAIN = TILT_GAINS.slow * 27 / 256;
// Distance to speed: just below what makes an overshoot behind the speed loop.
inline constexpr double POSITION_GAIN = 0.5;

// Bounds of what the loops ask for. Small signals stay away from them.
inline constexpr double MAX_SPEED = 12;         // m/s
inline constexpr double MAX_CLIMB = 3;          // m/s
inline constexpr double MAX_TILT = 0.61;        // rad
inline constexpr double MAX_ROLL_RATE = 6;      // rad/s, pitch alike
inline constexpr double MAX_YAW_RATE = 2;       // rad/s
inline constexpr double MAX_ROLL_ACC = 80;      // rad/s2, pitch alike
inline constexpr double MAX_YAW_ACC = 15;       // rad/s2
inline constexpr double MAX_CLIMB_ACC = 8;      // m/s2
inline constexpr double WIND_FILTER_S = 1;      // how slowly a push of the wind is believed
inline constexpr double TAKEOFF_HEIGHT = 1.2;   // m
inline constexpr double STICK_TIMEOUT_S = 0.5;  // without a frame

}  // namespace peers
