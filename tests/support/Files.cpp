#include "support/Files.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>

namespace test {

TemporaryDirectory::TemporaryDirectory() {
    std::string name = std::filesystem::temp_directory_path() / "orvel-test-XXXXXX";
    if (!mkdtemp(name.data()))
        throw std::runtime_error("no temporary directory");
    path = name;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

void writeFile(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    if (!file.flush())
        throw std::runtime_error("could not write " + path.string());
}

} // namespace test
