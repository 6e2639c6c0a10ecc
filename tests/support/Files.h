#pragma once

#include "app/host/FileDescriptor.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace test {

using Descriptor = orvel::FileDescriptor;

/// A directory of its own that goes with the object.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        auto name = (std::filesystem::temp_directory_path() / "orvel-test-XXXXXX").string();
        if (!mkdtemp(name.data()))
            throw std::runtime_error("no temporary directory");
        path = name;
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        remove_all(path, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    std::filesystem::path path;
};

} // namespace test
