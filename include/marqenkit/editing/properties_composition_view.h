#pragma once
// What the properties model needs from the view that shows a composition: the selection, the values
// for new elements, the edits of the selected elements and the whole-canvas operations. The interaction
// layer's composition view implements it; tests implement it over a plain document. Main thread only.
#include <memory>
#include <optional>
#include <vector>

#include "../dom/color.h"
#include "../dom/element.h"
#include "../dom/font.h"
#include "../dom/text_enums.h"
#include "../export.h"
#include "../foundation/geometry.h"

namespace marqen {

class MarqenDOMDocument;
class MarqenToolsModel;
class UndoManager;

// Posted by the view (object: its notificationSender()) when its selection or its composition changed.
inline constexpr const char *kMarqenCompositionViewSelectionDidChangeNotification =
    "MarqenCompositionViewSelectionDidChangeNotification";
inline constexpr const char *kMarqenCompositionViewCompositionDidChangeNotification =
    "MarqenCompositionViewCompositionDidChangeNotification";

class MARQEN_EXPORT MarqenPropertiesCompositionView {
public:
    virtual ~MarqenPropertiesCompositionView() = default;
    // The one sender both the view and its observers use, whatever the view's own class layout.
    const void *notificationSender() const { return this; }

    virtual std::vector<std::shared_ptr<MarqenDOMElement>> selectedElements() const = 0;
    virtual bool hasSelectedElements() const { return !selectedElements().empty(); }
    // The color (or relative tool size) every selected element shares; nothing when none is selected or
    // they differ.
    virtual std::optional<MarqenDOMColor> singleColorForSelectedElements() const = 0;
    virtual std::optional<CGFloat> singleToolSizeForSelectedElements() const = 0;

    // Values for elements drawn from now on.
    virtual void setToolColor(const MarqenDOMColor &color) = 0;
    virtual void setToolSize(CGFloat relativeSize) = 0;
    virtual void setTextBlockStyle(MarqenDOMTextBlockStyle style) = 0;
    virtual void setTextFont(const MarqenDOMFont &font) = 0;

    // Undoable edits of the selected elements ("Color Change", "Size Change", "Text Style Change",
    // "Text Font Change").
    virtual void setToolColorForSelectedElements(const MarqenDOMColor &color) = 0;
    virtual void setToolSizeForSelectedElements(CGFloat relativeSize) = 0;
    virtual void setTextBlockStyleForSelectedElements(MarqenDOMTextBlockStyle style) = 0;
    virtual void setTextFontForSelectedElements(const MarqenDOMFont &font) = 0;

    virtual MarqenToolsModel *canvasTools() const = 0;
    virtual void clearNodeSelection() = 0;
    // The composition's undo manager and the page on show; either may be null while nothing is open.
    virtual UndoManager *undoManager() const = 0;
    virtual std::shared_ptr<MarqenDOMDocument> document() const = 0;

    // Whole-canvas operations of the crop and resize panels ("Crop", "Resize Canvas").
    virtual bool cropToRect(CGRect rect) = 0;
    virtual bool resizeCanvas(CGFloat scale) = 0;
};

}  // namespace marqen
