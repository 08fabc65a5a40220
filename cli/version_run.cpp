#include "version_run.h"

#include <cerrno>
#include <memory>
#include <mutex>
#include <optional>

namespace cli {
namespace {

struct mailbox_t {
    std::mutex mutex;
    std::optional<peers::service_versions_t> answer;  // guarded by the mutex
};

std::optional<peers::service_versions_t> taken(mailbox_t& mailbox)
{
    const std::lock_guard lock(mailbox.mutex);
    return mailbox.answer;
}

}  // namespace

peers::service_versions_t ask_versions(peers::BusEndpoint& endpoint, uint32_t timeout_us, uint32_t tries,
                                       Waiter& waiter)
{
    // Shared with the callback, which may come after a signal has ended the wait.
    const auto mailbox = std::make_shared<mailbox_t>();
    peers::query_service_versions(endpoint, timeout_us, tries, [mailbox, &waiter](const auto& answer) {
        {
            const std::lock_guard lock(mailbox->mutex);
            mailbox->answer = answer;
        }
        waiter.notify();
    });
    while (!taken(*mailbox)) {
        if (waiter.wait(std::nullopt) == wake::interrupted) return {-EINTR, {}, {}, 0};
    }
    return *taken(*mailbox);
}

std::string database_text(const peers::nfz_version_t& version)
{
    return version == peers::nfz_version_t{} ? "none" : peers::version_text(version);
}

}  // namespace cli
