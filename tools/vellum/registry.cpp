#include "registry.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace vellum::cli {
namespace {

// Function-local so that registrars in any translation unit find it built.
std::vector<std::unique_ptr<Operation>>& registry() {
    static std::vector<std::unique_ptr<Operation>> ops;
    return ops;
}

[[noreturn]] void badEntry(const Operation& op, const std::string& what) {
    std::fprintf(stderr, "vellum: operation '%s' is registered wrongly: %s\n", op.name.c_str(),
                 what.c_str());
    std::abort();
}

bool parseLong(std::string_view text, long& value) {
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    const char* end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value);
    return ec == std::errc() && ptr == end && !text.empty();
}

bool parseDouble(std::string_view text, double& value) {
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    const char* end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value);
    return ec == std::errc() && ptr == end && !text.empty() && std::isfinite(value);
}

// Shortest form of a range bound for messages: 1, 0.5, -90.
std::string formatNumber(double value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%g", value);
    return buffer;
}

std::string joined(const std::vector<std::string>& items, const char* separator) {
    std::string out;
    for (const auto& item : items) {
        if (!out.empty()) out += separator;
        out += item;
    }
    return out;
}

void checkEntry(const Operation& op) {
    static const char* const kReserved[] = {"help", "jobs", "out-dir", "version"};
    const int runs = (op.transform ? 1 : 0) + (op.inspect ? 1 : 0) + (op.generate ? 1 : 0);
    if (op.name.empty() || op.name[0] == '-') badEntry(op, "bad name");
    if (op.family.empty() || op.summary.empty()) badEntry(op, "family and summary are needed");
    if (runs != 1) badEntry(op, "set exactly one of transform, inspect and generate");
    if (findOperation(op.name) || op.name == "ops") badEntry(op, "the name is taken");
    for (std::size_t i = 0; i < op.options.size(); ++i) {
        const OptionSpec& option = op.options[i];
        if (option.name.empty() || option.name[0] == '-') badEntry(op, "an option has a bad name");
        for (const char* reserved : kReserved) {
            if (option.name == reserved) badEntry(op, "--" + option.name + " is reserved");
        }
        for (std::size_t j = 0; j < i; ++j) {
            if (op.options[j].name == option.name) badEntry(op, "--" + option.name + " twice");
        }
        if (option.type == OptionType::choice && option.choices.empty()) {
            badEntry(op, "--" + option.name + " has no choices");
        }
        if (!option.defaultValue.empty()) {
            const std::string error = checkOptionValue(option, option.defaultValue);
            if (!error.empty()) badEntry(op, "default of --" + option.name + ": " + error);
        }
        if (option.operand) {
            // Files follow the operands; an inspect operation's files could be
            // taken for them, and a flag has no value to type.
            if (op.inspect) badEntry(op, "--" + option.name + ": an inspection takes no operands");
            if (option.type == OptionType::flag) {
                badEntry(op, "--" + option.name + ": a flag cannot be an operand");
            }
            for (std::size_t j = 0; j < i; ++j) {
                if (op.options[j].operand && !op.options[j].required && option.required) {
                    badEntry(op, "required operand --" + option.name + " after an optional one");
                }
            }
        }
    }
}

}  // namespace

namespace Opt {

OptionSpec integer(std::string name, std::string help, long defaultValue, long min, long max) {
    return {.name = std::move(name),
            .type = OptionType::integer,
            .help = std::move(help),
            .defaultValue = std::to_string(defaultValue),
            .min = static_cast<double>(min),
            .max = static_cast<double>(max)};
}

OptionSpec number(std::string name, std::string help, double defaultValue, double min, double max) {
    return {.name = std::move(name),
            .type = OptionType::number,
            .help = std::move(help),
            .defaultValue = formatNumber(defaultValue),
            .min = min,
            .max = max};
}

OptionSpec choice(std::string name, std::string help, std::vector<std::string> choices,
                  std::string defaultValue) {
    return {.name = std::move(name),
            .type = OptionType::choice,
            .help = std::move(help),
            .defaultValue = std::move(defaultValue),
            .choices = std::move(choices)};
}

OptionSpec flag(std::string name, std::string help) {
    return {.name = std::move(name), .type = OptionType::flag, .help = std::move(help)};
}

OptionSpec text(std::string name, std::string help, std::string defaultValue) {
    return {.name = std::move(name),
            .type = OptionType::text,
            .help = std::move(help),
            .defaultValue = std::move(defaultValue)};
}

OptionSpec colour(std::string name, std::string help, std::string defaultValue) {
    return {.name = std::move(name),
            .type = OptionType::colour,
            .help = std::move(help),
            .defaultValue = std::move(defaultValue)};
}

OptionSpec required(OptionSpec option) {
    option.required = true;
    option.defaultValue.clear();
    return option;
}

OptionSpec operand(OptionSpec option) {
    option.operand = true;
    return option;
}

}  // namespace Opt

Args::Args(std::map<std::string, std::string, std::less<>> values, std::vector<std::string> given)
    : values_(std::move(values)), given_(std::move(given)) {}

const std::string& Args::raw(std::string_view name) const {
    const auto it = values_.find(name);
    if (it == values_.end()) {
        throw std::logic_error("option --" + std::string(name) + " is not declared");
    }
    return it->second;
}

long Args::integer(std::string_view name) const {
    long value = 0;
    if (!parseLong(raw(name), value)) {
        throw std::logic_error("option --" + std::string(name) + " is not an integer");
    }
    return value;
}

double Args::number(std::string_view name) const {
    double value = 0;
    if (!parseDouble(raw(name), value)) {
        throw std::logic_error("option --" + std::string(name) + " is not a number");
    }
    return value;
}

const std::string& Args::text(std::string_view name) const {
    return raw(name);
}

bool Args::flag(std::string_view name) const {
    return raw(name) == "1";
}

COLORREF Args::colour(std::string_view name) const {
    COLORREF value = 0;
    if (!parseColour(raw(name), value)) {
        throw std::logic_error("option --" + std::string(name) + " is not a colour");
    }
    return value;
}

bool Args::given(std::string_view name) const {
    raw(name);
    return std::find(given_.begin(), given_.end(), name) != given_.end();
}

Registrar::Registrar(std::initializer_list<Operation> ops) {
    for (const Operation& op : ops) {
        checkEntry(op);
        registry().push_back(std::make_unique<Operation>(op));
    }
}

std::vector<const Operation*> operations() {
    std::vector<const Operation*> out;
    for (const auto& op : registry()) out.push_back(op.get());
    std::stable_sort(out.begin(), out.end(),
                     [](const Operation* a, const Operation* b) { return a->family < b->family; });
    return out;
}

const Operation* findOperation(std::string_view name) {
    for (const auto& op : registry()) {
        if (op->name == name) return op.get();
    }
    return nullptr;
}

std::string checkOptionValue(const OptionSpec& option, const std::string& value) {
    switch (option.type) {
        case OptionType::integer: {
            long n = 0;
            if (!parseLong(value, n)) return "'" + value + "' is not a whole number";
            if (n < option.min || n > option.max) {
                return value + " is outside " + formatNumber(option.min) + ".." +
                       formatNumber(option.max);
            }
            return {};
        }
        case OptionType::number: {
            double x = 0;
            if (!parseDouble(value, x)) return "'" + value + "' is not a number";
            if (x < option.min || x > option.max) {
                return value + " is outside " + formatNumber(option.min) + ".." +
                       formatNumber(option.max);
            }
            return {};
        }
        case OptionType::choice:
            if (std::find(option.choices.begin(), option.choices.end(), value) == option.choices.end()) {
                return "'" + value + "' is not one of " + joined(option.choices, ", ");
            }
            return {};
        case OptionType::colour: {
            COLORREF c = 0;
            if (!parseColour(value, c)) {
                return "'" + value + "' is not a colour (#RRGGBB or R,G,B)";
            }
            return {};
        }
        case OptionType::flag:
        case OptionType::text:
            return {};
    }
    return {};
}

bool parseColour(std::string_view text, COLORREF& colour) {
    if (text.find(',') != std::string_view::npos) {
        long channel[3] = {};
        for (int i = 0; i < 3; ++i) {
            const std::size_t comma = text.find(',');
            if ((i < 2) != (comma != std::string_view::npos)) return false;
            const std::string_view part = text.substr(0, comma);
            if (!parseLong(part, channel[i]) || channel[i] < 0 || channel[i] > 255) return false;
            text = i < 2 ? text.substr(comma + 1) : std::string_view{};
        }
        colour = RGB(channel[0], channel[1], channel[2]);
        return true;
    }
    if (!text.empty() && text.front() == '#') text.remove_prefix(1);
    if (text.size() != 6) return false;
    unsigned value = 0;
    const char* end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value, 16);
    if (ec != std::errc() || ptr != end) return false;
    colour = RGB((value >> 16) & 0xFF, (value >> 8) & 0xFF, value & 0xFF);
    return true;
}

}  // namespace vellum::cli
