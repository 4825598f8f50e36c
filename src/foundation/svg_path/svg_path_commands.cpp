#include "foundation/svg_path/svg_path_commands.h"

#include "foundation/svg_path/svg_path_scanner.h"
#include "foundation/log.h"

namespace marqen {

namespace {

char lowerLetter(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

bool isUpperLetter(char c) { return c >= 'A' && c <= 'Z'; }

CGPoint reflected(CGPoint point, CGPoint current) { return {2 * current.x - point.x, 2 * current.y - point.y}; }

}  // namespace

void SVGCommandImpl::processCommandString(std::string_view command, MarqenBezierPath &path) {
    std::vector<CGFloat> params = SVGNumbersInString(command);
    if (params.size() < parameterCount()) {
        // Never read past the numbers found: the command is left out.
        marqenLogRepeatable("Error with SVG: Missing numbers in command",
                            "Error with SVG: Missing numbers in command " + std::string(command));
        return;
    }
    bool absolute = !command.empty() && isUpperLetter(command[0]);
    performWithParams(params, absolute ? SVGCommandType::Absolute : SVGCommandType::Relative, path);
}

CGPoint SVGCommandImpl::pointFromParams(const std::vector<CGFloat> &params, size_t index, SVGCommandType commandType,
                                        CGPoint current) {
    CGPoint p{params[index], params[index + 1]};
    if (commandType == SVGCommandType::Relative) p = {p.x + current.x, p.y + current.y};
    return p;
}

void SVGMoveCommand::performWithParams(const std::vector<CGFloat> &params, SVGCommandType commandType,
                                       MarqenBezierPath &path) {
    path.moveToPoint(pointFromParams(params, 0, commandType, path.currentPoint()));
}

void SVGLineToCommand::performWithParams(const std::vector<CGFloat> &params, SVGCommandType commandType,
                                         MarqenBezierPath &path) {
    path.addLineToPoint(pointFromParams(params, 0, commandType, path.currentPoint()));
}

void SVGHorizontalLineToCommand::performWithParams(const std::vector<CGFloat> &params, SVGCommandType commandType,
                                                   MarqenBezierPath &path) {
    CGPoint current = path.currentPoint();
    CGFloat x = commandType == SVGCommandType::Relative ? params[0] + current.x : params[0];
    path.addLineToPoint({x, current.y});
}

void SVGVerticalLineToCommand::performWithParams(const std::vector<CGFloat> &params, SVGCommandType commandType,
                                                 MarqenBezierPath &path) {
    CGPoint current = path.currentPoint();
    CGFloat y = commandType == SVGCommandType::Relative ? params[0] + current.y : params[0];
    path.addLineToPoint({current.x, y});
}

void SVGCurveToCommand::performWithParams(const std::vector<CGFloat> &params, SVGCommandType commandType,
                                          MarqenBezierPath &path) {
    CGPoint current = path.currentPoint();
    path.addCurveToPoint(pointFromParams(params, 0, commandType, current),
                         pointFromParams(params, 2, commandType, current),
                         pointFromParams(params, 4, commandType, current));
}

void SVGSmoothCurveToCommand::performWithParams(const std::vector<CGFloat> &params, SVGCommandType commandType,
                                                MarqenBezierPath &path) {
    CGPoint current = path.currentPoint();
    CGPoint reflection = current;
    const std::string &previous = prevCommand();
    char previousLetter = previous.empty() ? '\0' : lowerLetter(previous[0]);
    if (previousLetter == 'c' || previousLetter == 's') {
        std::vector<CGFloat> numbers = SVGNumbersInString(previous);
        // The previous command's second control point and end, as offsets when it was relative.
        size_t controlIndex = previousLetter == 'c' ? 2 : 0;
        if (numbers.size() >= controlIndex + 4) {
            CGPoint control{numbers[controlIndex], numbers[controlIndex + 1]};
            if (!isUpperLetter(previous[0])) {
                CGPoint endOffset{numbers[controlIndex + 2], numbers[controlIndex + 3]};
                control = {current.x - endOffset.x + control.x, current.y - endOffset.y + control.y};
            }
            reflection = reflected(control, current);
        }
    }
    path.addCurveToPoint(reflection, pointFromParams(params, 0, commandType, current),
                         pointFromParams(params, 2, commandType, current));
}

void SVGQuadraticCurveToCommand::performWithParams(const std::vector<CGFloat> &params, SVGCommandType commandType,
                                                   MarqenBezierPath &path) {
    CGPoint current = path.currentPoint();
    CGPoint control = pointFromParams(params, 0, commandType, current);
    path.addCurveToPoint(control, control, pointFromParams(params, 2, commandType, current));
}

void SVGSmoothQuadraticCurveToCommand::performWithParams(const std::vector<CGFloat> &params,
                                                         SVGCommandType commandType, MarqenBezierPath &path) {
    CGPoint current = path.currentPoint();
    CGPoint reflection = current;
    const std::string &previous = prevCommand();
    if (!previous.empty() && lowerLetter(previous[0]) == 'q') {
        std::vector<CGFloat> numbers = SVGNumbersInString(previous);
        if (numbers.size() >= 4) {
            CGPoint control{numbers[0], numbers[1]};
            if (!isUpperLetter(previous[0]))
                control = {current.x - numbers[2] + numbers[0], current.y - numbers[3] + numbers[1]};
            reflection = reflected(control, current);
        }
    }
    path.addCurveToPoint(reflection, reflection, pointFromParams(params, 0, commandType, current));
}

void SVGClosePathCommand::performWithParams(const std::vector<CGFloat> &, SVGCommandType, MarqenBezierPath &path) {
    path.closeSubpath();
}

SVGCommandFactory &SVGCommandFactory::defaultFactory() {
    static SVGCommandFactory factory;
    return factory;
}

SVGCommandFactory::SVGCommandFactory() {
    commands_['m'] = std::make_unique<SVGMoveCommand>();
    commands_['l'] = std::make_unique<SVGLineToCommand>();
    commands_['h'] = std::make_unique<SVGHorizontalLineToCommand>();
    commands_['v'] = std::make_unique<SVGVerticalLineToCommand>();
    commands_['c'] = std::make_unique<SVGCurveToCommand>();
    commands_['s'] = std::make_unique<SVGSmoothCurveToCommand>();
    commands_['q'] = std::make_unique<SVGQuadraticCurveToCommand>();
    commands_['t'] = std::make_unique<SVGSmoothQuadraticCurveToCommand>();
    commands_['z'] = std::make_unique<SVGClosePathCommand>();
}

SVGCommandImpl *SVGCommandFactory::commandForCommandLetter(char letter) const {
    auto found = commands_.find(lowerLetter(letter));
    return found == commands_.end() ? nullptr : found->second.get();
}

}  // namespace marqen
