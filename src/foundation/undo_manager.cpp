#include "foundation/undo_manager.h"

#include "foundation/notification_center.h"

#include <algorithm>

#include "foundation/main_thread.h"

namespace marqen {

std::vector<UndoManager::Group> &UndoManager::registrationStack() { return undoing_ ? redoStack_ : undoStack_; }

// Dropped actions can hold the last reference to a node whose teardown reaches this manager again; they
// are destroyed only after the stacks are consistent.
void UndoManager::discardRedoActions() {
    std::vector<Group> discarded;
    discarded.swap(redoStack_);
}

void UndoManager::registerUndo(const void *target, std::function<void()> action) {
    MARQEN_ASSERT_MAIN_THREAD();
    if (disabled_ > 0) return;
    if (!undoing_ && !redoing_ && openGroups_.empty()) discardRedoActions();
    if (!openGroups_.empty()) {
        openGroups_.back().actions.push_back({target, std::move(action)});
        return;
    }
    Group group;
    group.actions.push_back({target, std::move(action)});
    registrationStack().push_back(std::move(group));
}

void UndoManager::beginUndoGrouping() { openGroups_.emplace_back(); }

void UndoManager::endUndoGrouping() {
    if (openGroups_.empty()) return;
    Group group = std::move(openGroups_.back());
    openGroups_.pop_back();
    if (group.actions.empty()) return;
    if (!openGroups_.empty()) {
        // A nested group becomes part of its parent, keeping the order of registration.
        auto &parent = openGroups_.back();
        for (auto &action : group.actions) parent.actions.push_back(std::move(action));
        if (parent.name.empty()) parent.name = group.name;
        return;
    }
    if (!undoing_ && !redoing_) discardRedoActions();
    registrationStack().push_back(std::move(group));
}

bool UndoManager::canUndo() const { return !undoStack_.empty(); }

void UndoManager::runGroup(Group group) {
    // Everything the actions register forms one group carrying the same name.
    beginUndoGrouping();
    openGroups_.back().name = group.name;
    for (auto it = group.actions.rbegin(); it != group.actions.rend(); ++it) it->run();
    endUndoGrouping();
}

void UndoManager::undo() {
    while (!openGroups_.empty()) endUndoGrouping();
    if (undoStack_.empty()) return;
    Group group = std::move(undoStack_.back());
    undoStack_.pop_back();
    undoing_ = true;
    runGroup(std::move(group));
    undoing_ = false;
    NotificationCenter::defaultCenter().post(kMarqenUndoManagerDidUndoChangeNotification, this);
}

void UndoManager::redo() {
    if (redoStack_.empty()) return;
    Group group = std::move(redoStack_.back());
    redoStack_.pop_back();
    redoing_ = true;
    runGroup(std::move(group));
    redoing_ = false;
    NotificationCenter::defaultCenter().post(kMarqenUndoManagerDidRedoChangeNotification, this);
}

void UndoManager::setActionName(const std::string &name) {
    if (!openGroups_.empty())
        openGroups_.back().name = name;
    else if (!undoStack_.empty())
        undoStack_.back().name = name;
}

std::string UndoManager::undoActionName() const { return undoStack_.empty() ? "" : undoStack_.back().name; }
std::string UndoManager::redoActionName() const { return redoStack_.empty() ? "" : redoStack_.back().name; }

void UndoManager::removeAllActions() {
    undoStack_.clear();
    redoStack_.clear();
    openGroups_.clear();
}

void UndoManager::removeAllActionsWithTarget(const void *target) {
    auto strip = [target](std::vector<Group> &stack) {
        for (auto &group : stack)
            group.actions.erase(std::remove_if(group.actions.begin(), group.actions.end(),
                                               [target](const Action &action) { return action.target == target; }),
                                group.actions.end());
        stack.erase(std::remove_if(stack.begin(), stack.end(), [](const Group &group) { return group.actions.empty(); }),
                    stack.end());
    };
    strip(undoStack_);
    strip(redoStack_);
    for (auto &group : openGroups_)
        group.actions.erase(std::remove_if(group.actions.begin(), group.actions.end(),
                                           [target](const Action &action) { return action.target == target; }),
                            group.actions.end());
}

}  // namespace marqen
