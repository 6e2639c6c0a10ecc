#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

/// The one cipher an old protocol still asks for. Nothing that is to stay secret should rely on it.
namespace platform {

/// Encrypts whole 8-byte blocks in place with single DES (FIPS 46-3) in ECB mode; bytes behind the
/// last whole block stay as they are. The parity bits of the key don't matter, and weak keys are
/// taken as well.
void encryptDES(std::span<const std::uint8_t, 8> key, std::span<std::uint8_t> blocks);

/// Overwrites what was secret, in a way that the compiler does not leave out.
void wipe(std::span<std::byte> secret);
/// Likewise all the memory of a text, which is empty afterwards.
void wipe(std::string& secret);

} // namespace platform
