#include "bench/Table.h"

#include "bench/Figures.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cstdio>
#include <span>
#include <string_view>

namespace bench {
namespace {

template<class... Values>
std::string formatted(const char* format, Values... values) {
    std::array<char, 200> line{};
    std::snprintf(line.data(), line.size(), format, values...); // NOLINT: the formats are below
    return line.data();
}

} // namespace

void Table::add(Row row) {
    // Measuring takes minutes; this shows how far it has got.
    std::fprintf(stderr, "%s\n", row.what.c_str());
    all.push_back(std::move(row));
}

void Table::row(const std::string& what, const std::string& unit, double ours, double theirs,
                std::optional<double> aim) {
    add({what, unit, ours, theirs, aim});
}

void Table::row(const std::string& what, const std::string& unit, double ours) {
    add({what, unit, ours, {}, {}});
}

void Table::rows(const std::string& what, const std::string& unit, const std::vector<double>& ours,
                 const std::vector<double>& theirs, std::optional<double> aim) {
    row(what + ", median", unit, quantile(ours, 0.5), quantile(theirs, 0.5), aim);
    row(what + ", 95 %", unit, quantile(ours, 0.95), quantile(theirs, 0.95));
}

std::string Table::text() const {
    auto text =
        "reference: " + reference + "\n" +
        formatted("%-46s %6s %10s %10s %7s %6s\n", "", "", "ours", "reference", "ratio", "aim");
    for (const auto& [what, unit, ours, theirs, aim] : all) {
        text += formatted("%-46s %6s %10.3f", what.c_str(), unit.c_str(), ours);
        if (theirs)
            text += formatted(" %10.3f %7.2f", *theirs, ours / *theirs);
        if (aim)
            text += formatted(" %6.2f%s", *aim, ours / *theirs <= *aim ? "" : " missed");
        text += "\n";
    }
    return text + "\n";
}

std::string Table::json() const {
    auto array = nlohmann::json::array();
    for (const auto& [what, unit, ours, theirs, aim] : all) {
        nlohmann::json row{{"what", what}, {"unit", unit}, {"ours", ours}};
        if (theirs)
            row.update({{"reference", *theirs}, {"ratio", ours / *theirs}});
        if (aim)
            row["aim"] = *aim;
        array.push_back(row);
    }
    return nlohmann::json{{"reference", reference}, {"rows", array}}.dump() + "\n";
}

int printTable(int count, char** arguments, const std::string& reference,
               const std::function<void(Table&)>& measure) {
    constexpr std::string_view onlyOption = "--only=";
    bool json = false;
    std::string only;
    for (const std::string_view word : std::span(arguments, static_cast<std::size_t>(count))) {
        json = json || word == "--json";
        if (word.starts_with(onlyOption))
            only = word.substr(onlyOption.size());
    }
    Table table(reference, only);
    measure(table);
    std::fputs((json ? table.json() : table.text()).c_str(), stdout);
    return 0;
}

} // namespace bench
