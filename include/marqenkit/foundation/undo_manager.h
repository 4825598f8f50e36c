#pragma once
// Undo and redo of closures registered with a target. Registrations made while no group is
// open form a group of their own; undoing a group runs its actions in reverse, and what they
// register lands on the redo stack (and the other way round for redo).
//
// Threads: main thread only, like the model that registers with it; it has no lock of its own.
#include <functional>
#include <string>
#include <vector>

#include "../export.h"

namespace marqen {

// Posted on the default centre (object: the manager) after an undo or a redo has run a group.
inline constexpr const char *kMarqenUndoManagerDidUndoChangeNotification = "MarqenUndoManagerDidUndoChangeNotification";
inline constexpr const char *kMarqenUndoManagerDidRedoChangeNotification = "MarqenUndoManagerDidRedoChangeNotification";

class MARQEN_EXPORT UndoManager {
public:
    void registerUndo(const void *target, std::function<void()> action);

    void beginUndoGrouping();
    void endUndoGrouping();
    int groupingLevel() const { return static_cast<int>(openGroups_.size()); }

    void disableUndoRegistration() { ++disabled_; }
    void enableUndoRegistration() {
        if (disabled_ > 0) --disabled_;
    }
    bool isUndoRegistrationEnabled() const { return disabled_ == 0; }

    bool canUndo() const;
    bool canRedo() const { return !redoStack_.empty(); }
    void undo();
    void redo();
    bool isUndoing() const { return undoing_; }
    bool isRedoing() const { return redoing_; }

    // Names the group being built (or, outside a group, the last one registered).
    void setActionName(const std::string &name);
    std::string undoActionName() const;
    std::string redoActionName() const;

    void removeAllActions();
    void removeAllActionsWithTarget(const void *target);
    size_t undoCount() const { return undoStack_.size(); }

private:
    struct Action {
        const void *target;
        std::function<void()> run;
    };
    struct Group {
        std::vector<Action> actions;
        std::string name;
    };
    void runGroup(Group group);
    void discardRedoActions();
    std::vector<Group> &registrationStack();

    std::vector<Group> undoStack_, redoStack_;
    std::vector<Group> openGroups_;
    int disabled_ = 0;
    bool undoing_ = false, redoing_ = false;
};

// Keeps one undo group open for the life of the scope, so that an edit made of several changes undoes
// in one step. Does nothing without a manager.
class MARQEN_EXPORT UndoGroupScope {
public:
    explicit UndoGroupScope(UndoManager *manager) : manager_(manager) {
        if (manager_) manager_->beginUndoGrouping();
    }
    ~UndoGroupScope() {
        if (manager_) manager_->endUndoGrouping();
    }
    UndoGroupScope(const UndoGroupScope &) = delete;
    UndoGroupScope &operator=(const UndoGroupScope &) = delete;

private:
    UndoManager *manager_;
};

}  // namespace marqen
