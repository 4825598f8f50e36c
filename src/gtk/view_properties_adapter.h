#pragma once
// The properties model's view of a GTK document view: the selection and the values for new elements are
// the controller's (whichever controller the view has at the moment), and a change of selection or page is
// announced under the adapter's own sender. Main thread only.
#include <marqenkit/editing/properties_composition_view.h>
#include <marqenkit/foundation/notification_center.h>

#include "marqenkit-gtk/marqen-document-view.h"

namespace marqen::gtk {

class ViewPropertiesAdapter : public MarqenPropertiesCompositionView {
public:
    explicit ViewPropertiesAdapter(MarqenGtkDocumentView *view);
    ~ViewPropertiesAdapter() override;

    std::vector<std::shared_ptr<MarqenDOMElement>> selectedElements() const override;
    std::optional<MarqenDOMColor> singleColorForSelectedElements() const override;
    std::optional<CGFloat> singleToolSizeForSelectedElements() const override;
    void setToolColor(const MarqenDOMColor &color) override;
    void setToolSize(CGFloat relativeSize) override;
    void setTextBlockStyle(MarqenDOMTextBlockStyle style) override;
    void setTextFont(const MarqenDOMFont &font) override;
    void setToolColorForSelectedElements(const MarqenDOMColor &color) override;
    void setToolSizeForSelectedElements(CGFloat relativeSize) override;
    void setTextBlockStyleForSelectedElements(MarqenDOMTextBlockStyle style) override;
    void setTextFontForSelectedElements(const MarqenDOMFont &font) override;
    MarqenToolsModel *canvasTools() const override;
    void clearNodeSelection() override;
    UndoManager *undoManager() const override;
    std::shared_ptr<MarqenDOMDocument> document() const override;
    // The controller's page operations; false when it refuses or no page is open.
    bool cropToRect(CGRect rect) override;
    bool resizeCanvas(CGFloat scale) override;

private:
    MarqenDocumentView *controller() const;
    // Values for new elements outlive a change of controller (another page, another tools model).
    void applyRememberedValues();

    MarqenGtkDocumentView *view_;
    gulong selectionHandler_ = 0, changedHandler_ = 0;
    const void *lastController_ = nullptr;
    std::optional<MarqenDOMColor> toolColor_;
    std::optional<CGFloat> toolSize_;
    std::optional<MarqenDOMTextBlockStyle> textStyle_;
    std::optional<MarqenDOMFont> textFont_;
};

}  // namespace marqen::gtk
