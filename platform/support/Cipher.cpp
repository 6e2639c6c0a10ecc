#include "platform/Cipher.h"

#include <nettle/des.h>

#include <string.h> // NOLINT(modernize-deprecated-headers): explicit_bzero

namespace platform {

void encryptDES(std::span<const std::uint8_t, 8> key, std::span<std::uint8_t> blocks) {
    des_ctx schedule{};
    // The result only says whether the key is a weak one; the schedule stands in any case.
    des_set_key(&schedule, key.data());
    des_encrypt(&schedule, blocks.size() / DES_BLOCK_SIZE * DES_BLOCK_SIZE, blocks.data(),
                blocks.data());
    wipe(std::as_writable_bytes(std::span(&schedule, 1)));
}

void wipe(std::span<std::byte> secret) {
    explicit_bzero(secret.data(), secret.size());
}

void wipe(std::string& secret) {
    secret.resize(secret.capacity());
    wipe(std::as_writable_bytes(std::span(secret)));
    secret.clear();
}

} // namespace platform
