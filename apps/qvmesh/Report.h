/// \file
/// What a command has to say, for people and for programs.
#pragma once

#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "qvGeom/foundation/linear/Linear.h"

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
Fact pointFact(const char* key, const char* label, const qvLinear::Point& point);
/// "yes" or "no".
Fact truthFact(const char* key, const char* label, bool truth);

using Facts = std::vector<Fact>;

/// The facts of one thing beside those of others.
struct Column {
    std::string key; // that programs find them under; empty: where all other facts are
    std::string heading;
    Facts facts;
};

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

    /// Says which files the report is of. Output and other input may be empty.
    void setFiles(const std::string& input, const std::string& output,
                  const std::string& other = "");
    /// Adds a table.
    void add(const Facts& facts);
    /// Adds a table of the same facts found of several things: a line for each fact of the first
    /// column beside those of its key in the others. At least one column.
    void addColumns(const std::vector<Column>& columns);
    /// Adds a table with a line for each of `rows`, which hold the same facts of several things;
    /// for people only the first few.
    void addRows(const char* key, const std::vector<Facts>& rows);
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
