#include <fcntl.h>
#include <pugixml.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include <cmath>
#include <cstring>
#include <system_error>

#include "dom/document.h"
#include "dom/font.h"
#include "dom/layer.h"
#include "dom/style.h"
#include "dom/text.h"
#include "dom/vector.h"
#include "formats/legacy_svg/svg_import_attributes.h"
#include "formats/legacy_svg_import.h"
#include "foundation/base64.h"
#include "foundation/log.h"
#include "platform/image.h"
#include "platform/image_io.h"
#include "platform/image_resample.h"

namespace marqen {

namespace {

constexpr const char *kMarqenCommentText = " Marqen 1.0 ";
constexpr const char *kPNGDataPrefix = "data:image/png;base64,";

bool fail(MarqenError *error, MarqenError made) {
    if (error) *error = std::move(made);
    return false;
}

bool failInconsistent(MarqenError *error, const std::string &why) {
    CoreMarqenLog::sharedCoreMarqenLog().logMessage("Legacy Marqen document refused: " + why);
    return fail(error, MarqenCompositionSVGImportError::dataInconsistency());
}

std::shared_ptr<MarqenDOMStyle> legacyShadowStyle() {
    auto style = std::make_shared<MarqenDOMStyle>();
    style->setShadowColor(MarqenDOMColor(0, 0, 0, 0.8));
    style->setShadowOpacity(1.0);
    style->setShadowOffset({0, -1});
    style->setShadowRadius(3.0);
    return style;
}

bool hasShadow(const pugi::xml_node &element) {
    bool shadow = false;
    return svgImport_getBool(&shadow, element, "marqenHasShadow") && shadow;
}

std::optional<MarqenDOMColor> colorWithOpacity(const pugi::xml_node &element) {
    auto color = svgImport_colorFromElement(element, "fill");
    CGFloat opacity = 1;
    if (color && svgImport_getCGFloat(&opacity, element, "opacity")) {
        color = MarqenDOMColor(color->red(), color->green(), color->blue(), std::clamp(opacity, 0.0, 1.0));
    }
    return color;
}

// The file's bytes, or false when it is not a readable regular file of reasonable size. The size is
// taken from the open descriptor, so a file swapped after the check cannot make the read unbounded.
bool readLegacyFile(const std::filesystem::path &url, std::vector<uint8_t> *bytes, MarqenError *error) {
    int fd = ::open(url.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info {};
    if (fd < 0 || ::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        if (fd >= 0) ::close(fd);
        CoreMarqenLog::sharedCoreMarqenLog().logMessage("Legacy Marqen document is not a readable file: " + url.string());
        return fail(error, MarqenCompositionSVGImportError::wrongFileFormat());
    }
    if (static_cast<uintmax_t>(info.st_size) > kMarqenLegacySVGMaximumFileSize) {
        ::close(fd);
        return failInconsistent(error, "the file is larger than " + std::to_string(kMarqenLegacySVGMaximumFileSize) +
                                           " bytes: " + url.string());
    }
    bytes->resize(static_cast<size_t>(info.st_size));
    size_t done = 0;
    while (done < bytes->size()) {
        ssize_t got = ::read(fd, bytes->data() + done, bytes->size() - done);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        done += static_cast<size_t>(got);
    }
    ::close(fd);
    if (done != bytes->size()) {
        CoreMarqenLog::sharedCoreMarqenLog().logMessage("Legacy Marqen document could not be read: " + url.string());
        return fail(error, MarqenCompositionSVGImportError::wrongFileFormat());
    }
    return true;
}

// The root element's size, checked: positive, finite and drawable.
bool rootSize(const pugi::xml_node &root, CGSize *size, MarqenError *error) {
    if (std::strcmp(root.attribute("version").value(), "1.1") != 0 || !root.attribute("version")) {
        return failInconsistent(error, "the root's version is not 1.1");
    }
    CGFloat width = 0, height = 0;
    if (!svgImport_getCGFloat(&width, root, "width") || !svgImport_getCGFloat(&height, root, "height") ||
        !(width > 0) || !(height > 0)) {
        return failInconsistent(error, "the root has no positive finite width and height");
    }
    if (width > MarqenImage::kMaximumDrawableSide || height > MarqenImage::kMaximumDrawableSide) {
        return failInconsistent(error, "the root's size is larger than can be drawn");
    }
    *size = {width, height};
    return true;
}

struct BackgroundImage {
    MarqenImageRef image;
    CGSize pointSize{0, 0};
};

// The first "image" element's PNG data. A reference that is no PNG data is ignored; PNG data that does
// not decode is logged and ignored, so the flat colour stands in for it.
bool backgroundImage(const pugi::xml_node &root, BackgroundImage *background, MarqenError *error) {
    pugi::xml_node imageElement = root.child("image");
    if (!imageElement) return true;
    const char *href = imageElement.attribute("xlink:href").value();
    size_t prefixLength = std::strlen(kPNGDataPrefix);
    if (std::strncmp(href, kPNGDataPrefix, prefixLength) != 0) return true;
    std::vector<uint8_t> png = NewBase64Decode(href + prefixLength, SIZE_MAX);
    MarqenImageProperties properties;
    MarqenError decodeError;
    MarqenImageRef image = MarqenImageDecodeData(png.data(), png.size(), &properties, &decodeError);
    png = {};
    CGFloat x = 0, y = 0;
    if (!svgImport_getCGFloat(&x, imageElement, "x") || !svgImport_getCGFloat(&y, imageElement, "y")) {
        return failInconsistent(error, "the background image has no position");
    }
    if (!image) {
        CoreMarqenLog::sharedCoreMarqenLog().logMessage("Legacy Marqen document: the background image is ignored: " +
                                                        decodeError.description());
        return true;
    }
    background->image = image;
    background->pointSize = {static_cast<CGFloat>(image->width()), static_cast<CGFloat>(image->height())};
    // An image stored at another resolution than 72 dpi is as large in points as its resolution says.
    auto dpiWidth = properties.dpiWidth(), dpiHeight = properties.dpiHeight();
    if (dpiWidth && dpiHeight && *dpiWidth > 0 && *dpiHeight > 0) {
        background->pointSize = {image->width() * 72.0 / *dpiWidth, image->height() * 72.0 / *dpiHeight};
    }
    return true;
}

MarqenImageRef flatBackground(CGSize size, const MarqenDOMColor &color, MarqenError *error) {
    int width = std::max(1, static_cast<int>(std::ceil(size.width)));
    int height = std::max(1, static_cast<int>(std::ceil(size.height)));
    MarqenError createError;
    MarqenImageRef image = MarqenImage::createUninitialized(width, height, &createError);
    if (!image) {
        failInconsistent(error, "the background cannot be made: " + createError.description());
        return nullptr;
    }
    auto component = [](double value) { return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 255.0))); };
    uint32_t pixel = MarqenImagePremultiply(component(color.alpha() * 255.0), component(color.red()),
                                            component(color.green()), component(color.blue()));
    for (int y = 0; y < height; ++y) std::fill(image->row(y), image->row(y) + width, pixel);
    return image;
}

std::shared_ptr<MarqenDOMVector> vectorFromPath(const pugi::xml_node &element, bool *parsed) {
    auto vector = MarqenDOMVector::create();
    auto color = colorWithOpacity(element);
    vector->setStrokeColor(color);
    vector->setFillColor(color);
    if (hasShadow(element)) vector->setStyle(legacyShadowStyle());
    *parsed = true;
    if (pugi::xml_attribute d = element.attribute("d")) {
        auto path = svgImport_bezierPathFromSVGPathNodeDAttr(d.value());
        if (!path) {
            *parsed = false;
            return nullptr;
        }
        vector->setBezierPath(*path);
    }
    return vector;
}

std::shared_ptr<MarqenDOMText> textFromGroup(const pugi::xml_node &group) {
    auto text = MarqenDOMText::create();
    std::string joined;
    bool first = true;
    for (pugi::xml_node line = group.child("text"); line; line = line.next_sibling("text")) {
        if (!first) joined += "\n";
        joined += line.text().get();
        first = false;
    }
    text->setText(joined);
    MarqenDOMFont font;
    std::string family = group.attribute("font-family").value();
    CGFloat size = font.size();
    svgImport_getCGFloat(&size, group, "font-size");
    if (!(size > 0)) size = font.size();
    text->setFont(MarqenDOMFont(family.empty() ? font.name() : family, size));
    if (hasShadow(group)) text->setStyle(legacyShadowStyle());
    if (auto fill = svgImport_colorFromElement(group, "fill")) {
        text->setFillColor(fill);
        text->setStrokeColor(svgImport_outlineColorForTextColor(*fill));
    }
    CGFloat x = 0, y = 0;
    svgImport_getCGFloat(&x, group, "marqenTextX");
    svgImport_getCGFloat(&y, group, "marqenTextY");
    text->setOrigin({x, y});
    return text;
}

}  // namespace

std::shared_ptr<MarqenDOMDocument> MarqenLegacySVGConvertDocumentAtURL(const std::filesystem::path &url, MarqenError *error) {
    if (url.extension() != ".marqen") {
        fail(error, MarqenCompositionSVGImportError::wrongFileFormat());
        return nullptr;
    }
    std::vector<uint8_t> bytes;
    if (!readLegacyFile(url, &bytes, error)) return nullptr;

    // pugixml parses without recursion, so deep nesting costs memory in proportion to the file only.
    pugi::xml_document xml;
    pugi::xml_parse_result parsed =
        xml.load_buffer(bytes.data(), bytes.size(), pugi::parse_default | pugi::parse_comments, pugi::encoding_auto);
    bytes = {};
    if (!parsed) {
        if (error) {
            error->domain = kMarqenXMLParserErrorDomain;
            error->code = static_cast<long>(parsed.status);
            error->userInfo = nlohmann::ordered_json::object();
            error->userInfo[kMarqenLocalizedDescriptionKey] =
                std::string(parsed.description()) + " at offset " + std::to_string(parsed.offset);
        }
        return nullptr;
    }

    pugi::xml_node comment = xml.first_child();
    size_t childCount = static_cast<size_t>(std::distance(xml.children().begin(), xml.children().end()));
    if (childCount != 2) {
        failInconsistent(error, "the file does not hold exactly a comment and a root element");
        return nullptr;
    }
    if (comment.type() != pugi::node_comment || std::strcmp(comment.value(), kMarqenCommentText) != 0) {
        failInconsistent(error, "the file does not open with the Marqen 1.0 comment");
        return nullptr;
    }
    pugi::xml_node root = comment.next_sibling();
    if (root.type() != pugi::node_element) {
        failInconsistent(error, "the file has no root element");
        return nullptr;
    }
    CGSize size{0, 0};
    if (!rootSize(root, &size, error)) return nullptr;

    MarqenDOMColor backgroundColor = svgImport_colorFromElement(root, "style").value_or(MarqenDOMColor::whiteColor());
    BackgroundImage background;
    if (!backgroundImage(root, &background, error)) return nullptr;
    if (background.image) size = background.pointSize;

    auto document = MarqenDOMDocument::createWithSize(size, 1.0);
    for (pugi::xml_node child = root.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_element) continue;
        std::string_view name = child.name();
        if (name == "rect") {
            if (auto fill = svgImport_colorFromElement(child, "fill")) backgroundColor = *fill;
            CGFloat opacity = 1;
            if (svgImport_getCGFloat(&opacity, child, "opacity")) {
                backgroundColor = MarqenDOMColor(backgroundColor.red(), backgroundColor.green(), backgroundColor.blue(),
                                                 std::clamp(opacity, 0.0, 1.0));
            }
        } else if (name == "path") {
            bool pathParsed = true;
            auto vector = vectorFromPath(child, &pathParsed);
            if (!pathParsed) {
                failInconsistent(error, "a path's outline does not parse");
                return nullptr;
            }
            document->annotationLayer()->addChild(vector);
        } else if (name == "g") {
            document->textLayer()->addChild(textFromGroup(child));
        }
    }

    MarqenImageRef image = background.image;
    if (!image) {
        image = flatBackground(document->frame().size, backgroundColor, error);
        if (!image) return nullptr;
    } else if (std::lround(background.pointSize.height) != image->height() ||
               std::lround(background.pointSize.width) != image->width()) {
        CGFloat factor = background.pointSize.height / image->height();
        int width = std::max(1, static_cast<int>(std::lround(image->width() * factor)));
        int height = std::max(1, static_cast<int>(std::lround(image->height() * factor)));
        MarqenError resizeError;
        image = MarqenImageResize(*image, width, height, &resizeError);
        if (!image) {
            failInconsistent(error, "the background image cannot be scaled: " + resizeError.description());
            return nullptr;
        }
    }
    document->addBackgroundImage(image, 0, MarqenJSON::object());
    document->setNeedsSave(false);
    return document;
}

}  // namespace marqen
