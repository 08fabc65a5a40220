#include "common/digest.h"

#include <md5.h>

namespace peers {

md5_digest_t md5_of(bytes_view bytes)
{
    md5_digest_t digest;
    MD5_CTX context;
    MD5Init(&context);
    MD5Update(&context, bytes.data(), bytes.size());
    MD5Final(digest.data(), &context);
    return digest;
}

std::string hex_text(bytes_view bytes)
{
    static constexpr char DIGITS[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const uint8_t byte : bytes) {
        text += DIGITS[byte >> 4];
        text += DIGITS[byte & 15];
    }
    return text;
}

}  // namespace peers
