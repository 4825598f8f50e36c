#include "foundation/svg_path/svg_path_parser.h"

#include <string>

#include "foundation/svg_path/svg_path_commands.h"
#include "foundation/svg_path/svg_path_scanner.h"
#include "foundation/log.h"

namespace marqen {

MarqenBezierPath marqen_bezierPathWithSVGString(std::string_view svgString) {
    MarqenBezierPath path;
    addPathWithSVGString(svgString, path);
    return path;
}

MarqenBezierPath &addPathWithSVGString(std::string_view svgString, MarqenBezierPath &path) {
    if (svgString.empty()) return path;
    std::vector<size_t> starts = SVGCommandLetterOffsets(svgString);
    std::string_view previous;
    for (size_t i = 0; i < starts.size(); ++i) {
        size_t end = i + 1 < starts.size() ? starts[i + 1] : svgString.size();
        std::string_view command = svgString.substr(starts[i], end - starts[i]);
        processCommandString(command, previous, path);
        previous = command;
    }
    return path;
}

void processCommandString(std::string_view command, std::string_view prevCommand, MarqenBezierPath &path) {
    if (command.empty()) {
        marqenLogRepeatable("Error with SVG: Invalid command", "Error with SVG: Invalid command " + std::string(command));
        return;
    }
    SVGCommandFactory &factory = SVGCommandFactory::defaultFactory();
    SVGCommandImpl *commandImpl = factory.commandForCommandLetter(command[0]);
    if (!commandImpl) {
        marqenLogRepeatable("Error with SVG: Unknown command",
                            "Error with SVG: Unknown command " + std::string(command));
        return;
    }
    std::lock_guard lock(factory.commandMutex());
    commandImpl->setPrevCommand(prevCommand);
    commandImpl->processCommandString(command, path);
}

}  // namespace marqen
