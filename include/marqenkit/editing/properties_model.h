#pragma once
// Which properties the property bar offers, following the current tool and the view's selection, and
// the values they remember for new elements. Call prepareForDealloc() before destroying the model: it
// stops the observations. Main thread only.
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "../export.h"
#include "../foundation/notification_center.h"
#include "properties_composition_view.h"
#include "property_color.h"
#include "property_crop.h"
#include "property_resize.h"
#include "property_size.h"
#include "property_text_font.h"
#include "property_text_style.h"

namespace marqen {

class MarqenToolsModel;

inline constexpr const char *kMarqenPropertiesModelCurrentPropertiesDidChangeNotification =
    "MarqenPropertiesModelCurrentPropertiesDidChangeNotification";

class MARQEN_EXPORT MarqenPropertiesModel {
public:
    // The view is not owned and must outlive the model.
    explicit MarqenPropertiesModel(MarqenPropertiesCompositionView *compositionView);
    ~MarqenPropertiesModel();
    MarqenPropertiesModel(const MarqenPropertiesModel &) = delete;
    MarqenPropertiesModel &operator=(const MarqenPropertiesModel &) = delete;

    void prepareForDealloc();

    MarqenPropertiesCompositionView *compositionView() const { return compositionView_; }
    MarqenToolsModel *canvasTools() const { return compositionView_->canvasTools(); }
    MarqenPropertyColor &colorProperty() const { return *colorProperty_; }
    MarqenPropertySize &sizeProperty() const { return *sizeProperty_; }
    MarqenPropertyTextStyle &textStyleProperty() const { return *textStyleProperty_; }
    MarqenPropertyTextFont &textFontProperty() const { return *textFontProperty_; }
    // Present only while the crop (resize) tool is current.
    MarqenPropertyCrop *cropProperty() const { return cropProperty_.get(); }
    MarqenPropertyResize *resizeProperty() const { return resizeProperty_.get(); }

    // In the order color, size, text style, text font, crop, resize; absent when nothing is offered.
    const std::optional<std::vector<MarqenProperty *>> &currentProperties() const { return currentProperties_; }
    bool offers(const MarqenProperty *property) const;

    void rebuildCurrentProperties();
    // Rebuilds, then lets every offered property refresh its value.
    void selectedElementsDidChange();

    // The remembered values of color, size, text style and text font as one archive (JSON text).
    std::string persistentPropertyInfo() const;
    // Absent data changes nothing; data that does not read is logged and changes nothing.
    void setPersistentPropertyInfo(const std::optional<std::string> &data);

private:
    void forwardSelectedElementsDidChange();
    void propertyDidExpand(const void *property);
    void observeView();

    MarqenPropertiesCompositionView *compositionView_;
    std::unique_ptr<MarqenPropertyColor> colorProperty_;
    std::unique_ptr<MarqenPropertySize> sizeProperty_;
    std::unique_ptr<MarqenPropertyTextStyle> textStyleProperty_;
    std::unique_ptr<MarqenPropertyTextFont> textFontProperty_;
    std::unique_ptr<MarqenPropertyCrop> cropProperty_;
    std::unique_ptr<MarqenPropertyResize> resizeProperty_;
    std::optional<std::vector<MarqenProperty *>> currentProperties_;
    std::vector<NotificationToken> observations_;
    bool preparedForDealloc_ = false;
};

}  // namespace marqen
