#pragma once
// The commands of SVG path data as read into a path: one class per command letter, shared through a
// factory. Each command remembers the text of the command before it, which the smooth curves reflect.
//
// Threads: the command objects are shared by every parse; a parse holds commandMutex() while it
// uses one, since paths are parsed on background threads too.
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/bezier_path.h"

namespace marqen {

enum class SVGCommandType { Absolute, Relative };

class SVGCommandImpl {
public:
    virtual ~SVGCommandImpl() = default;

    // The whole text (letter and numbers) of the command processed before this one.
    const std::string &prevCommand() const { return prevCommand_; }
    void setPrevCommand(std::string_view text) { prevCommand_ = std::string(text); }

    // Reads the command's numbers and performs it; a command with fewer numbers than it needs is
    // logged and skipped. Lower-case letters are relative to the path's current point.
    void processCommandString(std::string_view command, MarqenBezierPath &path);

    // Each command class performs its own letter.
    virtual void performWithParams(const std::vector<CGFloat> &params, SVGCommandType commandType,
                                   MarqenBezierPath &path) = 0;
    // How many numbers performWithParams reads.
    virtual size_t parameterCount() const { return 0; }

protected:
    // A coordinate pair of the command, made absolute against `current` for relative commands.
    static CGPoint pointFromParams(const std::vector<CGFloat> &params, size_t index, SVGCommandType commandType,
                                   CGPoint current);

private:
    std::string prevCommand_;
};

class SVGMoveCommand : public SVGCommandImpl {
public:
    void performWithParams(const std::vector<CGFloat> &params, SVGCommandType commandType,
                           MarqenBezierPath &path) override;
    size_t parameterCount() const override { return 2; }
};

class SVGLineToCommand : public SVGCommandImpl {
public:
    void performWithParams(const std::vector<CGFloat> &params, SVGCommandType commandType,
                           MarqenBezierPath &path) override;
    size_t parameterCount() const override { return 2; }
};

class SVGHorizontalLineToCommand : public SVGCommandImpl {
public:
    void performWithParams(const std::vector<CGFloat> &params, SVGCommandType commandType,
                           MarqenBezierPath &path) override;
    size_t parameterCount() const override { return 1; }
};

class SVGVerticalLineToCommand : public SVGCommandImpl {
public:
    void performWithParams(const std::vector<CGFloat> &params, SVGCommandType commandType,
                           MarqenBezierPath &path) override;
    size_t parameterCount() const override { return 1; }
};

class SVGCurveToCommand : public SVGCommandImpl {
public:
    void performWithParams(const std::vector<CGFloat> &params, SVGCommandType commandType,
                           MarqenBezierPath &path) override;
    size_t parameterCount() const override { return 6; }
};

// "s": the first control point reflects the previous "c" or "s" command's second one.
class SVGSmoothCurveToCommand : public SVGCommandImpl {
public:
    void performWithParams(const std::vector<CGFloat> &params, SVGCommandType commandType,
                           MarqenBezierPath &path) override;
    size_t parameterCount() const override { return 4; }
};

// "q" is drawn as a cubic whose two control points both sit on the quadratic control point.
class SVGQuadraticCurveToCommand : public SVGCommandImpl {
public:
    void performWithParams(const std::vector<CGFloat> &params, SVGCommandType commandType,
                           MarqenBezierPath &path) override;
    size_t parameterCount() const override { return 4; }
};

// "t": a cubic with both control points on the reflection of the previous "q" command's control point.
class SVGSmoothQuadraticCurveToCommand : public SVGCommandImpl {
public:
    void performWithParams(const std::vector<CGFloat> &params, SVGCommandType commandType,
                           MarqenBezierPath &path) override;
    size_t parameterCount() const override { return 2; }
};

class SVGClosePathCommand : public SVGCommandImpl {
public:
    void performWithParams(const std::vector<CGFloat> &params, SVGCommandType commandType,
                           MarqenBezierPath &path) override;
};

class SVGCommandFactory {
public:
    static SVGCommandFactory &defaultFactory();

    // The shared command for the letter in either case, or null for a letter without a command.
    SVGCommandImpl *commandForCommandLetter(char letter) const;

    // Held while a shared command is given its previous text and performed.
    std::mutex &commandMutex() { return mutex_; }

private:
    SVGCommandFactory();
    std::map<char, std::unique_ptr<SVGCommandImpl>> commands_;
    std::mutex mutex_;
};

}  // namespace marqen
