#include "command.h"

#include <algorithm>

#include "formats/dom_json_file.h"

namespace marqen::cli {

using marqen::MarqenError;

Arguments::Arguments(const std::vector<std::string> &args, const std::vector<std::string> &valueOptions,
                     const std::vector<std::string> &flags) {
    auto contains = [](const std::vector<std::string> &list, const std::string &item) {
        return std::find(list.begin(), list.end(), item) != list.end();
    };
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &arg = args[i];
        if (arg == "--help" || arg == "-h") {
            options_.emplace(arg, "");
        } else if (arg.size() > 1 && arg[0] == '-' && arg != "-") {
            std::string name = arg, inlineValue;
            bool hasInline = false;
            if (auto eq = arg.find('='); eq != std::string::npos && arg.rfind("--", 0) == 0) {
                name = arg.substr(0, eq);
                inlineValue = arg.substr(eq + 1);
                hasInline = true;
            }
            if (contains(valueOptions, name)) {
                if (hasInline) {
                    options_.emplace(name, inlineValue);
                } else {
                    if (i + 1 >= args.size()) usageError("option " + name + " needs a value");
                    options_.emplace(name, args[++i]);
                }
            } else if (contains(flags, name) && !hasInline) {
                options_.emplace(name, "");
            } else {
                usageError("unknown option " + arg);
            }
        } else {
            positional_.push_back(arg);
        }
    }
}

bool Arguments::has(const std::string &option) const { return options_.count(option) > 0; }

std::string Arguments::value(const std::string &option, const std::string &fallback) const {
    auto range = options_.equal_range(option);
    if (range.first == range.second) return fallback;
    return std::prev(range.second)->second;  // the last one given wins
}

std::vector<std::string> Arguments::values(const std::string &option) const {
    std::vector<std::string> result;
    auto range = options_.equal_range(option);
    for (auto it = range.first; it != range.second; ++it) result.push_back(it->second);
    return result;
}

std::string Arguments::requirePositional(size_t index, const std::string &what) const {
    if (index >= positional_.size()) usageError("missing " + what);
    return positional_[index];
}

std::string Arguments::requireValue(const std::string &option) const {
    if (!has(option)) usageError("missing " + option);
    return value(option);
}

std::map<std::string, Command> &commandTable() {
    static std::map<std::string, Command> table;
    return table;
}

MarqenCommandRegistration::MarqenCommandRegistration(Command command) {
    std::string name = command.name;
    commandTable().emplace(std::move(name), std::move(command));
}

void writeFileAtomically(const std::string &path, const std::string &bytes) {
    MarqenError error;
    if (!MarqenWriteFileAtomically(path, bytes, &error)) failure(error.localizedDescription());
}

MarqenPDFOptions commandLinePDFOptions() { return MarqenPDFOptions::commandLineDefaults(); }

std::string readWholeFile(const std::string &path) {
    std::string bytes;
    MarqenError error;
    if (!MarqenReadWholeFile(path, kMarqenDOMJSONFileMaximumSize, &bytes, &error)) failure(error.localizedDescription());
    return bytes;
}

}  // namespace marqen::cli
