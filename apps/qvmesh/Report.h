/// \file
/// What a command has to say, for people and for programs.
#pragma once

#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace qvmesh {

/// One thing found: its value, its name for programs, and both for people.
struct Fact {
    std::string key;
    std::string label;
    nlohmann::ordered_json value;
    std::string text;
    std::string note; // follows the text, outside its column
};

Fact countFact(const char* key, const char* label, std::int64_t count);
Fact realFact(const char* key, const char* label, double value);
Fact pointFact(const char* key, const char* label, const float* xyz);
/// "yes" or "no".
Fact truthFact(const char* key, const char* label, bool truth);

using Facts = std::vector<Fact>;

/// Lines of a table: a label, values that end at the right of their column, and a loose end.
struct TableRow {
    std::vector<std::string> cells;
    std::string note;
};

using Table = std::vector<TableRow>;

/// Facts and the times of the stages that led to them, in the order given.
class Report {
public:
    enum class Style { Text, Json };

    /// Says which files the report is of; the second may be empty.
    void setFiles(const std::string& input, const std::string& output);
    /// Adds a table.
    void add(const Facts& facts);
    /// Adds a table of what was found before and after an edit: a line for each fact of `before`
    /// beside the one of that key after it. For programs, those before stand apart.
    void addComparison(const Facts& before, const Facts& after);
    void addStage(const char* name, double seconds);

    void print(std::FILE* stream, Style style) const;

private:
    struct Stage {
        std::string name;
        double seconds;
    };

    void printJson(std::FILE* stream) const;
    void printText(std::FILE* stream) const;

    std::string title_;
    nlohmann::ordered_json json_ = nlohmann::ordered_json::object();
    std::vector<Table> tables_;
    std::vector<Stage> stages_;
};

} // namespace qvmesh
