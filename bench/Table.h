#pragma once

#include <string>
#include <vector>

namespace bench {

/// Measurements beside those of a reference, for people and for machines.
class Table {
public:
    explicit Table(std::string reference) : reference(std::move(reference)) {}

    void row(const std::string& what, const std::string& unit, double ours, double theirs);
    std::string text() const;
    std::string json() const;

private:
    struct Row {
        std::string what;
        std::string unit;
        double ours;
        double theirs;
    };
    std::string reference;
    std::vector<Row> rows;
};

} // namespace bench
