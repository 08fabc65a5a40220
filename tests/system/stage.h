// What every story needs: the routes, the service, the tap, and peers that ask and wait.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/app_peer.h"
#include "flight_controller/flight_controller.h"
#include "flight_v1_wire.h"
#include "nfz_file/nfz_file.h"
#include "service.h"
#include "support/scratch.h"
#include "tap.h"
#include "upgrade_wire.h"

using bytes_t = std::vector<uint8_t>;

inline constexpr const char* DATABASE = "/tmp/NFZ/nfz.bin";

void shell(const std::string& command);                   // fails the test when the command fails
bytes_t database(uint32_t version, size_t size = 20000);  // valid, version 1.0.0.`version`

// The station, spoken by hand: asks once and waits for the reply.
class Hand {
public:
    Hand();

    // The reply's payload; empty without one.
    bytes_t ask(uint16_t peer, uint8_t set, uint8_t id, const bytes_t& payload,
                std::chrono::milliseconds patience = 5s);

private:
    std::unique_ptr<peers::BusEndpoint> endpoint_;
};

template <typename T>
bytes_t bytes_of(const T& record)
{
    const auto* first = reinterpret_cast<const uint8_t*>(&record);
    return bytes_t(first, first + sizeof record);
}

template <typename T>
T record_of(const bytes_t& payload)
{
    T record = {};
    std::copy_n(payload.begin(), std::min(payload.size(), sizeof record), reinterpret_cast<uint8_t*>(&record));
    return record;
}

class Stage : public testing::Test {
protected:
    // `scale`: so many times faster than real time, here and in the service.
    explicit Stage(int scale = 1);

    void starts_service();  // and waits until both clients answer
    std::unique_ptr<peers::FlightController> flight_controller();
    std::unique_ptr<peers::AppPeer> app();
    peers::upgrade_result_t app_sends(peers::AppPeer& app, const bytes_t& database,
                                      const peers::upgrade_options_t& options = {});
    peers::transfer_result_t app_delivers(peers::AppPeer& app, const bytes_t& file);

    Service service;
    std::unique_ptr<Tap> tap;
};
