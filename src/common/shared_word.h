// A word that crosses threads.
#pragma once

#include <atomic>

// Reads and writes like the plain value: acquire loads, release stores, so that what was written before a word is seen
// by whoever sees the word. Neighbouring words may be seen half-old, half-new. Where a word is declared, its writer is
// named.
template <typename T>
class shared_word {
public:
    constexpr shared_word() = default;
    constexpr shared_word(T value) : value_(value) {}
    shared_word(const shared_word&) = delete;
    shared_word& operator=(const shared_word&) = delete;

    operator T() const { return value_.load(std::memory_order_acquire); }
    shared_word& operator=(T value)
    {
        value_.store(value, std::memory_order_release);
        return *this;
    }

    // Stores `value` if the word still is `seen`. False, with the word as it was, when somebody else wrote it
    // meanwhile.
    bool replace(T seen, T value) { return value_.compare_exchange_strong(seen, value, std::memory_order_acq_rel); }

private:
    static_assert(std::atomic<T>::is_always_lock_free);
    std::atomic<T> value_{};
};
