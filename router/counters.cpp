#include "counters.h"

namespace router {
namespace {

struct text_t {
    const char* name;
    const char* text;
};

constexpr std::array<text_t, DROPS> TEXTS = {{
    {"link_full", "the link or the other end is too slow"},
    {"link_down", "the connection was lost a moment ago"},
    {"stale", "sent before the link was last down"},
    {"unknown_sender",
     "from an address that \"addresses\" of this link does not name; name it there if it may speak here"},
    {"address_taken",
     "another process has the sender's address on the local bus; end it, or choose another number here"},
    {"no_route", "to an address that the local route file does not have; add it to its \"services\""},
    {"receiver_absent", "nobody listens at the receiver's address"},
    {"receiver_full", "the receiver does not keep up"},
    {"receiver_refused", "the local bus refuses it; check the permissions of its directory"},
    {"bad_length", "messages of a wrong length; is the other end a router of this version?"},
    {"bad_version", "messages of another version; update both ends"},
    {"bad_kind", "messages of an unknown kind; update both ends"},
    {"bad_parts", "messages of several parts; is the other end a router?"},
}};

}  // namespace

const char* drop_name(uint32_t reason)
{
    return reason < DROPS ? TEXTS[reason].name : "unknown";
}

const char* drop_text(uint32_t reason)
{
    return reason < DROPS ? TEXTS[reason].text : "";
}

}  // namespace router
