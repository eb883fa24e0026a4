#include "qvmesh/Report.h"

#include <algorithm>
#include <cmath>

namespace qvmesh {
namespace {

/// 1234567 as "1,234,567".
std::string grouped(std::int64_t count) {
    std::string digits = std::to_string(count);
    const std::int64_t firstDigit = count < 0 ? 1 : 0;
    for (std::int64_t at = std::ssize(digits) - 3; at > firstDigit; at -= 3)
        digits.insert(static_cast<std::size_t>(at), 1, ',');
    return digits;
}

std::string shortText(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

std::string milliseconds(double seconds) {
    char text[40];
    std::snprintf(text, sizeof text, "%.1f", 1000 * seconds);
    return text;
}

nlohmann::ordered_json toJson(const Facts& facts) {
    nlohmann::ordered_json object = nlohmann::ordered_json::object();
    for (const Fact& fact : facts)
        object[fact.key] = fact.value;
    return object;
}

std::string textOf(const Facts& facts, const std::string& key) {
    const auto found =
        std::find_if(facts.begin(), facts.end(), [&](const Fact& fact) { return fact.key == key; });
    return found == facts.end() ? std::string() : found->text;
}

void printTable(std::FILE* stream, const Table& table) {
    std::vector<int> widths;
    for (const TableRow& row : table) {
        widths.resize(std::max(widths.size(), row.cells.size()));
        for (std::size_t i = 0; i < row.cells.size(); ++i)
            widths[i] = std::max(widths[i], static_cast<int>(row.cells[i].size()));
    }
    for (const auto& [cells, note] : table) {
        std::fprintf(stream, "%-*s", widths[0], cells[0].c_str());
        for (std::size_t i = 1; i < cells.size(); ++i)
            std::fprintf(stream, "  %*s", widths[i], cells[i].c_str());
        std::fprintf(stream, "%s%s\n", note.empty() ? "" : "  ", note.c_str());
    }
}

} // namespace

Fact countFact(const char* key, const char* label, std::int64_t count) {
    return {key, label, count, grouped(count), ""};
}

Fact realFact(const char* key, const char* label, double value) {
    return {key, label, value, shortText(value), ""};
}

Fact pointFact(const char* key, const char* label, const qvLinear::Point& point) {
    char text[60];
    std::snprintf(text, sizeof text, "%12.6g %12.6g %12.6g", point.x, point.y, point.z);
    return {key, label, {point.x, point.y, point.z}, text, ""};
}

Fact truthFact(const char* key, const char* label, bool truth) {
    return {key, label, truth, truth ? "yes" : "no", ""};
}

void Report::setFiles(const std::string& input, const std::string& output,
                      const std::string& other) {
    title_ = input;
    json_["input"] = input;
    if (!other.empty()) {
        title_ += ", " + other;
        json_["other"] = other;
    }
    if (!output.empty()) {
        title_ += " -> " + output;
        json_["output"] = output;
    }
}

void Report::add(const Facts& facts) {
    json_.update(toJson(facts));
    Table table;
    for (const Fact& fact : facts)
        table.push_back({{fact.label, fact.text}, fact.note});
    tables_.push_back(table);
}

void Report::addColumns(const std::vector<Column>& columns) {
    Table table = {{{""}, ""}};
    for (const Fact& fact : columns.front().facts)
        table.push_back({{fact.label}, ""});
    for (const Column& column : columns) {
        json_.update(column.key.empty()
                         ? toJson(column.facts)
                         : nlohmann::ordered_json{{column.key, toJson(column.facts)}});
        table.front().cells.push_back(column.heading);
        for (std::size_t i = 1; i < table.size(); ++i)
            table[i].cells.push_back(textOf(column.facts, columns.front().facts[i - 1].key));
    }
    tables_.push_back(table);
}

void Report::addRows(const char* key, const std::vector<Facts>& rows) {
    constexpr std::size_t kShown = 20;
    json_[key] = nlohmann::ordered_json::array();
    for (const Facts& row : rows)
        json_[key].push_back(toJson(row));
    if (rows.empty())
        return;
    Table table(1);
    for (const Fact& fact : rows.front())
        table.front().cells.push_back(fact.label);
    for (std::size_t i = 0; i < std::min(kShown, rows.size()); ++i) {
        table.emplace_back();
        for (const Fact& fact : rows[i])
            table.back().cells.push_back(fact.text);
    }
    if (rows.size() > kShown)
        table.push_back({{grouped(std::ssize(rows) - std::ssize(table) + 1) + " more"}, ""});
    tables_.push_back(table);
}

void Report::addStage(const char* name, double seconds) { stages_.push_back({name, seconds}); }

void Report::print(std::FILE* stream, Style style) const {
    style == Style::Json ? printJson(stream) : printText(stream);
}

void Report::printJson(std::FILE* stream) const {
    nlohmann::ordered_json json = json_;
    for (const auto& [name, seconds] : stages_)
        json["stages"].push_back({{"name", name}, {"seconds", seconds}});
    // File names need not be UTF-8.
    constexpr auto kReplaceBadBytes = nlohmann::ordered_json::error_handler_t::replace;
    std::fprintf(stream, "%s\n", json.dump(2, ' ', false, kReplaceBadBytes).c_str());
}

void Report::printText(std::FILE* stream) const {
    std::fprintf(stream, "%s\n\n", title_.c_str());
    for (const Table& table : tables_) {
        printTable(stream, table);
        std::fputc('\n', stream);
    }
    Table stages = {{{"stage", "milliseconds"}, ""}};
    double total = 0;
    for (const auto& [name, seconds] : stages_) {
        stages.push_back({{name, milliseconds(seconds)}, ""});
        total += seconds;
    }
    stages.push_back({{"total", milliseconds(total)}, ""});
    printTable(stream, stages);
}

} // namespace qvmesh
