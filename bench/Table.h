#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace bench {

/// Measurements beside those of a reference, for people and for machines.
class Table {
public:
    /// `only` is what rows that are wanted have in their names; empty: all of them.
    Table(std::string reference, std::string only)
        : reference(std::move(reference)),
          only(std::move(only)) {}

    /// Whether rows whose names begin like this are wanted.
    bool wants(const std::string& what) const { return what.find(only) != std::string::npos; }

    /// With an aim for ours / theirs, if there is one, that the ratio is held against.
    void row(const std::string& what, const std::string& unit, double ours, double theirs,
             std::optional<double> aim = std::nullopt);
    /// Where nothing else does the same.
    void row(const std::string& what, const std::string& unit, double ours);
    /// Of many measurements the median and the 95th percentile.
    void rows(const std::string& what, const std::string& unit, const std::vector<double>& ours,
              const std::vector<double>& theirs, std::optional<double> aim = std::nullopt);

    std::string text() const;
    /// One line.
    std::string json() const;

private:
    struct Row {
        std::string what;
        std::string unit;
        double ours;
        std::optional<double> theirs;
        std::optional<double> aim;
    };
    void add(Row row);

    std::string reference;
    std::string only;
    std::vector<Row> all;
};

/// What `main` of a benchmark does: measures, and prints the table, as JSON after `--json`, and
/// only what has TEXT in its name after `--only=TEXT`.
int printTable(int count, char** arguments, const std::string& reference,
               const std::function<void(Table&)>& measure);

} // namespace bench
