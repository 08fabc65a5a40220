// Whose code runs. What a party makes belongs to it, and goes when the party goes.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace sim {

using party_t = uint8_t;

inline constexpr party_t OUTSIDE = 0;  // whoever drives the platform, and its peers
inline constexpr party_t SERVICE = 1;
inline constexpr party_t PARTIES = 8;

class Parties {
public:
    party_t current() const { return s_current; }

    // A callback of the party is under way: it may wait for a reply while other events happen.
    bool runs(party_t party) const { return depth_[party] != 0; }

    // While it lives, the party's code runs.
    class Turn {
    public:
        Turn(Parties& parties, party_t party) : parties_(parties), before_(s_current), party_(party)
        {
            s_current = party;
            parties_.depth_[party]++;
        }
        ~Turn()
        {
            parties_.depth_[party_]--;
            s_current = before_;
        }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        Parties& parties_;
        const party_t before_;
        const party_t party_;
    };

private:
    static inline thread_local party_t s_current = OUTSIDE;
    std::array<std::atomic<uint32_t>, PARTIES> depth_ = {};
};

}  // namespace sim
