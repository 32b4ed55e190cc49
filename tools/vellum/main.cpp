// vellum: the command-line front end. Everything it offers comes from the
// operation registry (registry.h); this file turns the registry into a
// command line, runs the chosen operation over its files and reports.
//
// Exit status: 0 on success, 1 when an operation or a file fails, 2 for a
// command line that cannot be understood.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <iostream>
#include <map>
#include <new>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "image_io.h"
#include "registry.h"

namespace {

namespace fs = std::filesystem;
using namespace vellum::cli;

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

void complain(const std::string& message) {
    std::fprintf(stderr, "vellum: %s\n", message.c_str());
}

int usageError(const std::string& message, const std::string& helpCommand = "vellum --help") {
    complain(message + " (see '" + helpCommand + "')");
    return kExitUsage;
}

std::string operandName(const OptionSpec& option) {
    std::string name;
    for (char c : option.name) {
        name += c == '-' ? '_' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return name;
}

// " WIDTH HEIGHT" or " RED [GREEN] [BLUE]": the operands in usage lines.
std::string operandUsage(const Operation& op) {
    std::string out;
    for (const OptionSpec& option : op.options) {
        if (!option.operand) continue;
        out += option.required ? " " + operandName(option) : " [" + operandName(option) + "]";
    }
    return out;
}

// The usage lines depend on how the operation is run; CLI11 only knows about
// option names, so they are written here.
class Formatter : public CLI::Formatter {
  public:
    std::string make_usage(const CLI::App* app, std::string name) const override {
        const Operation* op = findOperation(app->get_name());
        if (app->get_parent() == nullptr) {
            return "Usage: vellum OPERATION [options] INPUT OUTPUT\n"
                   "       vellum ops | vellum OPERATION --help\n";
        }
        if (op == nullptr) return CLI::Formatter::make_usage(app, name);
        std::string opts = op->options.empty() ? "" : " [options]";
        opts += operandUsage(*op);
        if (op->transform) {
            return "Usage: vellum " + op->name + opts + " INPUT OUTPUT\n       vellum " + op->name +
                   opts + " --out-dir DIR INPUT...\n";
        }
        if (op->inspect) return "Usage: vellum " + op->name + opts + " FILE...\n";
        return "Usage: vellum " + op->name + opts + " OUTPUT\n";
    }
};

std::string describeDefault(const OptionSpec& option) {
    std::string extra;
    if (option.type == OptionType::integer || option.type == OptionType::number) {
        std::ostringstream range;
        range << option.min << ".." << option.max;
        extra = range.str();
    }
    if (!option.defaultValue.empty()) {
        extra += (extra.empty() ? "" : ", ") + std::string("default ") + option.defaultValue;
    }
    if (option.required) extra += (extra.empty() ? "" : ", ") + std::string("required");
    return extra.empty() ? option.help : option.help + " (" + extra + ")";
}

std::string placeholder(const OptionSpec& option) {
    switch (option.type) {
        case OptionType::integer:
            return "N";
        case OptionType::number:
            return "X";
        case OptionType::colour:
            return "COLOUR";
        case OptionType::text:
            return "TEXT";
        case OptionType::flag:
            return "";
        case OptionType::choice: {
            std::string out;
            for (const auto& c : option.choices) out += (out.empty() ? "" : "|") + c;
            return out;
        }
    }
    return "";
}

// One operation's subcommand and the places its parsed values land.
struct Command {
    const Operation* op = nullptr;
    CLI::App* app = nullptr;
    std::vector<CLI::Option*> options;  // parallel to op->options
    std::vector<std::string> files;
    std::string outDir;
    unsigned jobs = 1;  // files worked on at once in a batch
};

void addCommand(CLI::App& root, Command& cmd) {
    const Operation& op = *cmd.op;
    cmd.app = root.add_subcommand(op.name, op.summary);
    cmd.app->group(op.family);
    cmd.app->footer(op.help);
    for (const OptionSpec& option : op.options) {
        CLI::Option* opt = nullptr;
        if (option.type == OptionType::flag) {
            opt = cmd.app->add_flag("--" + option.name)->description(describeDefault(option));
        } else {
            opt = cmd.app->add_option("--" + option.name)->description(describeDefault(option));
            opt->option_text(placeholder(option));
            opt->check(CLI::Validator(
                [&option](std::string& value) { return checkOptionValue(option, value); },
                placeholder(option)));
            // A required operand may come by position; checked after parsing.
            if (option.required && !option.operand) opt->required();
            if (option.operand) {
                opt->description(describeDefault(option) + "; or " + operandName(option) +
                                 " by position");
            }
        }
        cmd.options.push_back(opt);
    }
    if (op.transform) {
        cmd.app
            ->add_option("--out-dir", cmd.outDir,
                         "Write each result into DIR under its input's file name "
                         "(several inputs allowed)")
            ->option_text("DIR");
        cmd.app
            ->add_option("--jobs", cmd.jobs,
                         "With --out-dir: files worked on at once (0: one per processor; "
                         "default 1)")
            ->option_text("N")
            ->check(CLI::Range(0U, 256U));
        cmd.app
            ->add_option("FILES", cmd.files,
                         "Operands by position, then INPUT OUTPUT (or inputs with --out-dir)")
            ->required()
            ->option_text("...");
    } else if (op.inspect) {
        CLI::Option* files = cmd.app->add_option("FILES", cmd.files, "Files to read");
        files->option_text("...");
        if (!op.filesOptional) files->required();
    } else {
        const auto operands = static_cast<int>(std::count_if(
            op.options.begin(), op.options.end(), [](const OptionSpec& o) { return o.operand; }));
        cmd.app->add_option("OUTPUT", cmd.files, "File to write")
            ->required()
            ->expected(1, 1 + operands)
            ->option_text(" ");
    }
}

// How many leading file arguments are operands. Without --out-dir the count
// of files fixes it (a transform has two files, a generator one); with
// --out-dir, where any number of inputs follow, leading values are operands
// while they are acceptable values and not the names of existing files.
std::size_t countOperands(const Command& cmd, const std::vector<const OptionSpec*>& pending) {
    if (pending.empty()) return 0;
    if (cmd.op->transform && !cmd.outDir.empty()) {
        std::size_t n = 0;
        while (n < pending.size() && n < cmd.files.size() &&
               checkOptionValue(*pending[n], cmd.files[n]).empty() && !fs::exists(cmd.files[n])) {
            ++n;
        }
        return n;
    }
    const std::size_t files = cmd.op->transform ? 2 : 1;
    if (cmd.files.size() <= files) return 0;
    return std::min(cmd.files.size() - files, pending.size());
}

// Gathers every option's value (typed by name, by position or defaulted).
// Operands typed by position are removed from the front of cmd.files. Returns
// an error message for a missing or unacceptable value, else an empty string.
std::string collectArgs(Command& cmd, Args& args) {
    std::map<std::string, std::string, std::less<>> values;
    std::vector<std::string> given;
    std::vector<const OptionSpec*> pending;  // operands not typed by name
    for (std::size_t i = 0; i < cmd.op->options.size(); ++i) {
        const OptionSpec& option = cmd.op->options[i];
        const CLI::Option* opt = cmd.options[i];
        const bool present = opt->count() > 0;
        if (present) given.push_back(option.name);
        if (option.type == OptionType::flag) {
            values[option.name] = present ? "1" : "0";
        } else {
            values[option.name] = present ? opt->as<std::string>() : option.defaultValue;
        }
        if (option.operand && !present) pending.push_back(&option);
    }
    const std::size_t taken = countOperands(cmd, pending);
    for (std::size_t i = 0; i < taken; ++i) {
        const OptionSpec& option = *pending[i];
        const std::string error = checkOptionValue(option, cmd.files[i]);
        if (!error.empty()) return operandName(option) + ": " + error;
        values[option.name] = cmd.files[i];
        given.push_back(option.name);
    }
    cmd.files.erase(cmd.files.begin(), cmd.files.begin() + static_cast<std::ptrdiff_t>(taken));
    for (std::size_t i = taken; i < pending.size(); ++i) {
        if (pending[i]->required) {
            return operandName(*pending[i]) + " is required (by position or as --" +
                   pending[i]->name + ")";
        }
    }
    args = Args(std::move(values), std::move(given));
    return {};
}

// Runs `body`, turning every way it can fail into one line on stderr.
template <typename Body>
bool reportFailures(const std::string& context, Body&& body) {
    try {
        body();
        return true;
    } catch (const Failure& e) {
        complain(context + e.what());
    } catch (CException* e) {
        char text[512] = {};
        if (!e->GetErrorMessage(text, sizeof text)) std::snprintf(text, sizeof text, "file error");
        e->Delete();
        complain(context + text);
    } catch (const std::bad_alloc&) {
        complain(context + "out of memory");
    } catch (const std::exception& e) {
        complain(context + "internal error: " + e.what());
    }
    return false;
}

int runTransform(const Command& cmd, const Args& args) {
    const Operation& op = *cmd.op;
    const std::string help = "vellum " + op.name + " --help";
    std::vector<std::pair<std::string, std::string>> jobs;
    if (cmd.outDir.empty()) {
        if (cmd.files.size() != 2) {
            return usageError(op.name + " needs INPUT and OUTPUT, or --out-dir DIR with inputs",
                              help);
        }
        jobs.emplace_back(cmd.files[0], cmd.files[1]);
    } else {
        std::set<std::string> names;
        for (const auto& input : cmd.files) {
            const std::string name = fs::path(input).filename().string();
            if (name.empty()) return usageError("'" + input + "' is not a file name", help);
            if (!names.insert(name).second) {
                return usageError("two inputs are named '" + name + "'; their results would clash",
                                  help);
            }
            jobs.emplace_back(input, (fs::path(cmd.outDir) / name).string());
        }
        std::error_code ec;
        fs::create_directories(cmd.outDir, ec);
        if (ec || !fs::is_directory(cmd.outDir)) {
            complain("cannot create directory '" + cmd.outDir +
                     "': " + (ec ? ec.message() : "a file is in the way"));
            return kExitFailure;
        }
    }

    // Workers take the next file in turn; each progress or failure line is
    // written by one call, so lines from different files do not mix.
    const auto hint = op.decodeHint ? op.decodeHint(args) : std::pair<DWORD, DWORD>{0, 0};
    std::atomic<std::size_t> next{0};
    std::atomic<int> failed{0};
    const auto work = [&] {
        for (std::size_t i = next++; i < jobs.size(); i = next++) {
            const std::string& input = jobs[i].first;
            const std::string& output = jobs[i].second;
            if (jobs.size() > 1)
                std::fprintf(stderr, "[%zu/%zu] %s\n", i + 1, jobs.size(), input.c_str());
            Image image;
            bool ok = reportFailures("", [&] { image = loadImage(input, hint.first, hint.second); });
            ok = ok && reportFailures(op.name + " '" + input + "': ",
                                      [&] { op.transform(args, image); });
            ok = ok && reportFailures("", [&] { saveImage(image, output); });
            if (!ok) ++failed;
        }
    };
    unsigned workers = cmd.jobs != 0 ? cmd.jobs : std::max(1U, std::thread::hardware_concurrency());
    workers = static_cast<unsigned>(std::min<std::size_t>(workers, jobs.size()));
    std::vector<std::thread> threads;
    for (unsigned w = 1; w < workers; ++w) threads.emplace_back(work);
    work();
    for (std::thread& t : threads) t.join();
    return failed ? kExitFailure : 0;
}

int runInspect(const Command& cmd, const Args& args) {
    int failed = 0;
    const std::vector<std::string> files =
        cmd.files.empty() ? std::vector<std::string>{std::string()} : cmd.files;
    for (std::size_t i = 0; i < files.size(); ++i) {
        const std::string& path = files[i];
        std::ostringstream report;
        if (reportFailures("", [&] { cmd.op->inspect(args, path, report); })) {
            if (i > 0) std::cout << '\n';
            std::cout << report.str() << std::flush;
        } else {
            ++failed;
        }
    }
    return failed ? kExitFailure : 0;
}

int runGenerate(const Command& cmd, const Args& args) {
    if (cmd.files.size() != 1) {
        return usageError(cmd.op->name + " needs one OUTPUT", "vellum " + cmd.op->name + " --help");
    }
    const bool ok = reportFailures("", [&] {
        Image image = cmd.op->generate(args);
        saveImage(image, cmd.files.at(0));
    });
    return ok ? 0 : kExitFailure;
}

void printOperations(std::ostream& out) {
    const auto ops = operations();
    std::size_t width = 0;
    for (const Operation* op : ops) width = std::max(width, op->name.size());
    out << "Operations by family ('vellum OPERATION --help' shows an operation's options):\n";
    std::string family;
    for (const Operation* op : ops) {
        if (op->family != family) {
            family = op->family;
            out << '\n' << family << '\n';
        }
        out << "  " << op->name << std::string(width - op->name.size() + 2, ' ') << op->summary
            << '\n';
    }
}

int run(int argc, char** argv) {
    CLI::App root{"Vellum: device-independent bitmap imaging from the command line.", "vellum"};
    root.formatter(std::make_shared<Formatter>());
    root.set_version_flag("--version", std::string("vellum ") + VELLUM_VERSION);
    root.footer(
        "Run 'vellum ops' to list the operations by family and 'vellum OPERATION --help' for\n"
        "an operation's options. Exit status: 0 success, 1 failure, 2 bad command line.");
    root.require_subcommand(1);
    CLI::App* opsCommand =
        root.add_subcommand("ops", "List every operation with its summary, by family");
    opsCommand->group("commands");

    std::deque<Command> commands;
    for (const Operation* op : operations()) {
        commands.push_back(Command{.op = op});
        addCommand(root, commands.back());
    }

    if (argc < 2) {
        std::cerr << root.help();
        return kExitUsage;
    }
    const std::string first = argv[1];
    if (first[0] != '-' && first != "ops" && findOperation(first) == nullptr) {
        return usageError("unknown operation '" + first + "'", "vellum ops");
    }

    try {
        root.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) return root.exit(e);
        const auto chosen = root.get_subcommands();
        const std::string help = chosen.empty() || chosen[0] == opsCommand
                                     ? "vellum --help"
                                     : "vellum " + chosen[0]->get_name() + " --help";
        std::string message = e.what();
        // CLI11 starts its sentences with a capital; ours do not.
        if (message.size() > 1 && std::isupper(static_cast<unsigned char>(message[0])) &&
            std::islower(static_cast<unsigned char>(message[1]))) {
            message[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(message[0])));
        }
        return usageError(message, help);
    }

    if (*opsCommand) {
        printOperations(std::cout);
        return 0;
    }
    for (Command& cmd : commands) {
        if (!*cmd.app) continue;
        Args args;
        const std::string error = collectArgs(cmd, args);
        if (!error.empty()) return usageError(error, "vellum " + cmd.op->name + " --help");
        if (cmd.op->transform) return runTransform(cmd, args);
        if (cmd.op->inspect) return runInspect(cmd, args);
        return runGenerate(cmd, args);
    }
    return usageError("no operation given");
}

}  // namespace

int main(int argc, char** argv) {
    installMessageHandler();
    return run(argc, argv);
}
