#pragma once

#include "app/host/FileDescriptor.h"

#include <cstdint>
#include <filesystem>
#include <vector>

namespace test {

using Descriptor = orvel::FileDescriptor;

/// A directory of its own that goes with the object.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    std::filesystem::path path;
};

void writeFile(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes);

} // namespace test
