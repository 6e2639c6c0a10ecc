#include "bench/Table.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cstdio>

namespace bench {
namespace {

template<class... Values>
std::string formatted(const char* format, Values... values) {
    std::array<char, 200> line{};
    std::snprintf(line.data(), line.size(), format, values...); // NOLINT: the formats are below
    return line.data();
}

} // namespace

void Table::row(const std::string& what, const std::string& unit, double ours, double theirs) {
    rows.push_back({what, unit, ours, theirs});
    // Measuring takes minutes; this shows how far it has got.
    std::fprintf(stderr, "%s\n", what.c_str());
}

std::string Table::text() const {
    auto text = "reference: " + reference + "\n" +
                formatted("%-36s %6s %10s %10s %8s\n", "", "", "ours", "reference", "ratio");
    for (const auto& [what, unit, ours, theirs] : rows)
        text += formatted("%-36s %6s %10.2f %10.2f %8.2f\n", what.c_str(), unit.c_str(), ours,
                          theirs, ours / theirs);
    return text;
}

std::string Table::json() const {
    auto array = nlohmann::json::array();
    for (const auto& [what, unit, ours, theirs] : rows)
        array.push_back({{"what", what},
                         {"unit", unit},
                         {"ours", ours},
                         {"reference", theirs},
                         {"ratio", ours / theirs}});
    return nlohmann::json{{"reference", reference}, {"rows", array}}.dump(2) + "\n";
}

} // namespace bench
