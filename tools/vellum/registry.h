// The operation registry of the command-line tool.
//
// Each operation is declared once, beside its code, in a file
// tools/vellum/ops/<family>.cpp: its name, family, a one-line summary, a
// longer help text, its options (type, range, default) and the function that
// runs it. The command line, `vellum ops` and `vellum OPERATION --help` are all
// built from this table, so adding an operation touches no other file:
//
//     namespace {
//     const vellum::cli::Registrar registrar{{
//         {.name = "mirror",
//          .family = "geometry",
//          .summary = "Mirror the picture left to right or top to bottom",
//          .help = "Longer explanation shown by `vellum mirror --help`.",
//          .options = {Opt::choice("axis", "which way to flip", {"x", "y"}, "x")},
//          .transform = [](const Args& args, Image& image) { ... }},
//     }};
//     }  // namespace
//
// An operation sets exactly one of the three run functions, which decides how
// it is called:
//   transform  vellum OP [options] INPUT OUTPUT, or INPUT... --out-dir DIR;
//              the image is loaded, changed in place, then saved.
//   inspect    vellum OP [options] FILE...; writes a report to stdout.
//   generate   vellum OP [options] OUTPUT; makes a new image that is saved.
// Options marked as operands (Opt::operand) may also be typed without their
// name, in declaration order, before the files: `vellum scale 800 600 IN OUT`
// is `vellum scale --width 800 --height 600 IN OUT`.
// Run functions throw Failure with a short reason when the operation fails.
#pragma once

#include <functional>
#include <initializer_list>
#include <map>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "image_io.h"

namespace vellum::cli {

enum class OptionType {
    integer,  // whole number within [min, max]
    number,   // real number within [min, max]
    choice,   // one of `choices`
    flag,     // present or not
    text,     // any string
    colour,   // #RRGGBB, RRGGBB or R,G,B
};

struct OptionSpec {
    std::string name;  // long name without the dashes: "depth" is --depth
    OptionType type = OptionType::text;
    std::string help;
    std::string defaultValue;  // as typed on the command line; empty for none
    double min = 0;
    double max = 0;
    std::vector<std::string> choices;
    bool required = false;
    // May be given by position, before the files (see the top of this file).
    bool operand = false;
};

// Builders for the option table, so each entry reads as one line.
namespace Opt {
OptionSpec integer(std::string name, std::string help, long defaultValue, long min, long max);
OptionSpec number(std::string name, std::string help, double defaultValue, double min, double max);
OptionSpec choice(std::string name, std::string help, std::vector<std::string> choices,
                  std::string defaultValue);
OptionSpec flag(std::string name, std::string help);
OptionSpec text(std::string name, std::string help, std::string defaultValue = {});
OptionSpec colour(std::string name, std::string help, std::string defaultValue);
// The same option, to be given on every call.
OptionSpec required(OptionSpec option);
// The same option, which may also be typed by position before the files.
OptionSpec operand(OptionSpec option);
}  // namespace Opt

// The parsed options of one call, each with its default when not given.
// Values were checked against their option while parsing; asking for a name the
// operation did not declare is a programming error (std::logic_error).
class Args {
  public:
    Args() = default;
    explicit Args(std::map<std::string, std::string, std::less<>> values,
                  std::vector<std::string> given = {});

    long integer(std::string_view name) const;
    double number(std::string_view name) const;
    const std::string& text(std::string_view name) const;
    bool flag(std::string_view name) const;
    COLORREF colour(std::string_view name) const;
    // Whether the option was on the command line (rather than defaulted).
    bool given(std::string_view name) const;

  private:
    const std::string& raw(std::string_view name) const;

    std::map<std::string, std::string, std::less<>> values_;
    std::vector<std::string> given_;
};

using TransformFn = std::function<void(const Args&, Image&)>;
using InspectFn = std::function<void(const Args&, const std::string& path, std::ostream& out)>;
using GenerateFn = std::function<Image(const Args&)>;
// The largest size a transform needs of its input, as {width, height}; {0, 0}
// for the whole picture. Formats that can decode reduced (JPEG) then do so.
using DecodeHintFn = std::function<std::pair<DWORD, DWORD>(const Args&)>;

struct Operation {
    std::string name;
    std::string family;
    std::string summary;  // one line, shown by `vellum ops`
    std::string help;     // paragraph(s), shown by `vellum NAME --help`
    std::vector<OptionSpec> options;
    TransformFn transform;
    InspectFn inspect;
    GenerateFn generate;
    // Optional, transforms only: lets the input be decoded reduced.
    DecodeHintFn decodeHint;
    // An inspect operation that may run without files: it is then called
    // once with an empty path.
    bool filesOptional = false;
};

// Adds operations to the registry at static-initialisation time. A malformed
// entry (duplicate name, no or several run functions, a default outside its
// range) stops the program with a message: it is a bug in the tool.
class Registrar {
  public:
    Registrar(std::initializer_list<Operation> operations);
};

// Every registered operation, grouped by family (families in alphabetical
// order, operations in registration order within a family).
std::vector<const Operation*> operations();
const Operation* findOperation(std::string_view name);

// Checks a value typed for an option; returns an error message, or an empty
// string when the value is acceptable.
std::string checkOptionValue(const OptionSpec& option, const std::string& value);

// Parses a colour as #RRGGBB, RRGGBB or R,G,B (decimal, 0..255 each).
bool parseColour(std::string_view text, COLORREF& colour);

}  // namespace vellum::cli
