#pragma once
// Names of the DOM's notifications and their user-info keys.
//
// Threads: plain values and functions of their arguments; safe on any thread.
namespace marqen {

inline constexpr const char *MarqenDOMNodeWillChange = "MarqenDOMNodeWillChange";
inline constexpr const char *MarqenDOMNodeDidChange = "MarqenDOMNodeDidChange";
inline constexpr const char *MarqenDOMNodeDidAddChild = "MarqenDOMNodeDidAddChild";
inline constexpr const char *MarqenDOMNodeWillRemoveChild = "MarqenDOMNodeWillRemoveChild";
inline constexpr const char *MarqenDOMNodeDidRemoveChild = "MarqenDOMNodeDidRemoveChild";
inline constexpr const char *MarqenDOMNodeNeedsDisplay = "MarqenDOMNodeNeedsDisplay";
inline constexpr const char *MarqenDOMNodeContentBoundsDidChange = "MarqenDOMNodeContentBoundsDidChange";
inline constexpr const char *MarqenDOMNodeDidBecomeActive = "MarqenDOMNodeDidBecomeActive";
inline constexpr const char *MarqenDOMNodeDidBecomeInactive = "MarqenDOMNodeDidBecomeInactive";
inline constexpr const char *MarqenDOMDocumentDidBecomeDirty = "MarqenDOMDocumentDidBecomeDirty";
inline constexpr const char *MarqenDOMDocumentDidUpdateContentScaleFactor = "MarqenDOMDocumentDidUpdateContentScaleFactor";
inline constexpr const char *MarqenDOMDocumentResourceCoordinatorDidChange =
    "MarqenDOMDocumentResourceCoordinatorDidChange";

// Posted after every change of a node's children list, with the change record (a MarqenChildrenChange
// under "change"), on MarqenDOMKeyValueObservationCenter() rather than the default centre: it stands
// for observing the key "children", which observers that mirror the tree (renderers) do.
inline constexpr const char *MarqenDOMNodeChildrenDidChange = "MarqenDOMNodeChildrenDidChange";
inline constexpr const char *MarqenDOMNodeUserInfoChangeKey = "change";

// User-info keys.
inline constexpr const char *MarqenDOMNodeUserInfoChildKey = "child";  // std::shared_ptr<MarqenDOMNode>
inline constexpr const char *MarqenDOMNodeUserInfoIndexKey = "index";  // size_t
// The content-bounds change record: CGRect values under "old" and "new".
inline constexpr const char *MarqenKeyValueChangeOldKey = "old";
inline constexpr const char *MarqenKeyValueChangeNewKey = "new";

}  // namespace marqen
