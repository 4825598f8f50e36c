// The raster path of shadowed groups against Cairo alone doing the same work the long way (the
// group's alpha in a mask with a margin of 3σ + 2, blurred, masked onto the target in the shadow's
// colour, the group painted over it): the pixels must be the same bytes, whichever way the path
// composites — itself row by row over the inked blocks, or through Cairo at clip edges and fractional offsets.
#include <gtest/gtest.h>

#include <cairo.h>

#include <cmath>
#include <functional>
#include <optional>
#include <random>
#include <vector>

#include "platform/graphics.h"
#include "platform/shadow_blur.h"
#include "platform/shadow_compositor.h"

namespace marqen {
namespace {

constexpr int kWidth = 200, kHeight = 150;

using Drawing = std::function<void(cairo_t *)>;

struct Scene {
    Drawing draw;
    MarqenShadow shadow;
    double alpha = 1;
    std::optional<CGRect> clip;  // in user space
    cairo_matrix_t ctm{1, 0, 0, 1, 0, 0};
};

// A target with something on it: an opaque ground on the left, transparent on the right with a
// translucent stripe, so that the shadow is seen over both.
cairo_surface_t *makeTarget() {
    cairo_surface_t *surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kWidth, kHeight);
    cairo_t *cr = cairo_create(surface);
    cairo_set_source_rgb(cr, 0.9, 0.8, 0.3);
    cairo_rectangle(cr, 0, 0, kWidth / 2, kHeight);
    cairo_fill(cr);
    cairo_set_source_rgba(cr, 0.2, 0.5, 0.9, 0.4);
    cairo_rectangle(cr, kWidth / 2, 40, kWidth / 2, 30);
    cairo_fill(cr);
    cairo_destroy(cr);
    return surface;
}

std::vector<uint8_t> bytesOf(cairo_surface_t *surface) {
    cairo_surface_flush(surface);
    const unsigned char *data = cairo_image_surface_get_data(surface);
    return {data, data + static_cast<size_t>(cairo_image_surface_get_stride(surface)) * kHeight};
}

void applyClip(cairo_t *cr, const Scene &scene) {
    cairo_set_matrix(cr, &scene.ctm);
    if (scene.clip) {
        cairo_rectangle(cr, scene.clip->origin.x, scene.clip->origin.y, scene.clip->size.width, scene.clip->size.height);
        cairo_clip(cr);
    }
}

// Cairo alone, as the shadow was composited before it had a raster path.
void compositeTheLongWay(cairo_t *cr, cairo_pattern_t *group, double alpha, const MarqenShadow &shadow) {
    cairo_surface_t *surface = nullptr;
    cairo_pattern_get_surface(group, &surface);
    cairo_surface_flush(surface);
    double dx = 0, dy = 0;
    cairo_surface_get_device_offset(surface, &dx, &dy);
    const int w = cairo_image_surface_get_width(surface), h = cairo_image_surface_get_height(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    const unsigned char *data = cairo_image_surface_get_data(surface);
    auto alphaAt = [&](int x, int y) { return data[static_cast<size_t>(y) * stride + 4 * x + 3]; };  // little-endian ARGB
    int minX = w, minY = h, maxX = -1, maxY = -1;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            if (alphaAt(x, y)) {
                minX = std::min(minX, x), maxX = std::max(maxX, x);
                minY = std::min(minY, y), maxY = std::max(maxY, y);
            }
    if (maxX >= 0 && shadow.color.alpha > 0) {
        const double sigma = shadow.blur / 2;
        const int margin = static_cast<int>(std::ceil(3 * sigma)) + 2;
        const int maskWidth = maxX - minX + 1 + 2 * margin, maskHeight = maxY - minY + 1 + 2 * margin;
        cairo_surface_t *mask = cairo_image_surface_create(CAIRO_FORMAT_A8, maskWidth, maskHeight);
        cairo_surface_flush(mask);
        unsigned char *maskData = cairo_image_surface_get_data(mask);
        const int maskStride = cairo_image_surface_get_stride(mask);
        for (int y = minY; y <= maxY; ++y)
            for (int x = minX; x <= maxX; ++x)
                maskData[static_cast<size_t>(y - minY + margin) * maskStride + x - minX + margin] = alphaAt(x, y);
        MarqenBlurAlphaMask(maskData, maskWidth, maskHeight, maskStride, sigma);
        cairo_surface_mark_dirty(mask);
        cairo_save(cr);
        cairo_identity_matrix(cr);
        cairo_set_source_rgba(cr, shadow.color.red, shadow.color.green, shadow.color.blue, shadow.color.alpha * alpha);
        cairo_mask_surface(cr, mask, minX - dx - margin + shadow.offset.width, minY - dy - margin - shadow.offset.height);
        cairo_restore(cr);
        cairo_surface_destroy(mask);
    }
    cairo_save(cr);
    cairo_set_source(cr, group);
    cairo_paint_with_alpha(cr, alpha);
    cairo_restore(cr);
}

// Draws the scene with its shadow through a graphics context on cr (the one given, else a new one), or
// the long way.
void drawShadowed(cairo_t *cr, const Scene &scene, bool throughContext, MarqenGraphicsContext *context = nullptr) {
    if (!throughContext) {
        cairo_push_group(cr);
        scene.draw(cr);
        cairo_pattern_t *group = cairo_pop_group(cr);
        compositeTheLongWay(cr, group, 1, scene.shadow);
        cairo_pattern_destroy(group);
        return;
    }
    std::optional<MarqenGraphicsContext> own;
    if (!context) context = &own.emplace(cr);
    context->setShadow(scene.shadow.offset, scene.shadow.blur, scene.shadow.color);
    context->drawWithCairo(scene.draw);
}

std::vector<uint8_t> drawTheLongWay(const Scene &scene) {
    cairo_surface_t *target = makeTarget();
    cairo_t *cr = cairo_create(target);
    applyClip(cr, scene);
    cairo_push_group(cr);
    scene.draw(cr);
    cairo_pattern_t *group = cairo_pop_group(cr);
    compositeTheLongWay(cr, group, scene.alpha, scene.shadow);
    cairo_pattern_destroy(group);
    cairo_destroy(cr);
    std::vector<uint8_t> bytes = bytesOf(target);
    cairo_surface_destroy(target);
    return bytes;
}

// The raster path itself, told the clip's device rectangle as the graphics context knows it.
std::vector<uint8_t> drawThroughRasterPath(const Scene &scene, ShadowCompositing &how) {
    cairo_surface_t *target = makeTarget();
    cairo_t *cr = cairo_create(target);
    applyClip(cr, scene);
    std::optional<CGRect> deviceClip;
    if (scene.clip && scene.ctm.xy == 0 && scene.ctm.yx == 0)
        deviceClip = CGRectApplyAffineTransform(
            *scene.clip, {scene.ctm.xx, scene.ctm.yx, scene.ctm.xy, scene.ctm.yy, scene.ctm.x0, scene.ctm.y0});
    else if (!scene.clip)
        deviceClip = CGRectMake(0, 0, kWidth, kHeight);
    cairo_push_group(cr);
    scene.draw(cr);
    cairo_pattern_t *group = cairo_pop_group(cr);
    how = compositeShadowedRasterGroup(cr, group, scene.alpha, scene.shadow, deviceClip ? &*deviceClip : nullptr);
    cairo_pattern_destroy(group);
    cairo_destroy(cr);
    std::vector<uint8_t> bytes = bytesOf(target);
    cairo_surface_destroy(target);
    return bytes;
}

// Through the graphics context, which keeps track of the clip itself.
std::vector<uint8_t> drawThroughContext(const Scene &scene) {
    cairo_surface_t *target = makeTarget();
    cairo_t *cr = cairo_create(target);
    {
        MarqenGraphicsContext context(cr);
        context.concatCTM({scene.ctm.xx, scene.ctm.yx, scene.ctm.xy, scene.ctm.yy, scene.ctm.x0, scene.ctm.y0});
        if (scene.clip) context.clipToRect(*scene.clip);
        context.setShadow(scene.shadow.offset, scene.shadow.blur, scene.shadow.color);
        context.setAlpha(scene.alpha);
        context.drawWithCairo(scene.draw);
    }
    cairo_destroy(cr);
    std::vector<uint8_t> bytes = bytesOf(target);
    cairo_surface_destroy(target);
    return bytes;
}

// A stroked ring and a translucent filled square: ink with a hollow inside, in several colours.
Drawing ringAndSquare(double x, double y, double size) {
    return [=](cairo_t *cr) {
        cairo_set_line_width(cr, 5);
        cairo_set_source_rgba(cr, 0.8, 0.1, 0.1, 1);
        cairo_arc(cr, x + size / 2, y + size / 2, size / 2, 0, 2 * M_PI);
        cairo_stroke(cr);
        cairo_set_source_rgba(cr, 0.1, 0.3, 0.9, 0.6);
        cairo_rectangle(cr, x + size / 3, y + size / 3, size / 3, size / 3);
        cairo_fill(cr);
    };
}

Scene plainScene() {
    Scene scene;
    scene.draw = ringAndSquare(40.3, 30.6, 70);
    scene.shadow = {{3, -4}, 6, {0.1, 0.05, 0.2, 0.6}};
    return scene;
}

void expectSameAsTheLongWay(const Scene &scene, ShadowCompositing expected) {
    const std::vector<uint8_t> reference = drawTheLongWay(scene);
    ShadowCompositing how = ShadowCompositing::NotRaster;
    EXPECT_EQ(drawThroughRasterPath(scene, how), reference);
    EXPECT_EQ(how, expected);
    EXPECT_EQ(drawThroughContext(scene), reference);
}

TEST(ShadowCompositor, InkInsideTheTargetIsCompositedDirectlyWithTheSamePixels) {
    Scene scene = plainScene();
    expectSameAsTheLongWay(scene, ShadowCompositing::Direct);
    scene.clip = CGRectMake(20.4, 10.7, 120.2, 110.9);  // a clip that holds the shadow and ink whole
    expectSameAsTheLongWay(scene, ShadowCompositing::Direct);
    for (double blur : {0.0, 1.0, 2.0, 3.0, 9.0}) {  // offset only, small and wider blurs
        SCOPED_TRACE(blur);
        scene.shadow.blur = blur;
        expectSameAsTheLongWay(scene, ShadowCompositing::Direct);
    }
    scene.shadow.blur = 31;  // the shadow reaches the clip's edges: Cairo clips it there
    expectSameAsTheLongWay(scene, ShadowCompositing::Cairo);
}

TEST(ShadowCompositor, OpaqueAndColouredShadowsKeepCairosColourRounding) {
    Scene scene = plainScene();
    for (const MarqenRGBAColor &color : std::vector<MarqenRGBAColor>{
             {0, 0, 0, 1}, {1, 1, 1, 1}, {0.33, 0.66, 0.99, 0.35}, {1, 0, 0.5, 0.004}, {0.2, 0.7, 0.1, 0.0015}}) {
        SCOPED_TRACE(testing::Message() << color.red << " " << color.green << " " << color.blue << " " << color.alpha);
        scene.shadow.color = color;
        expectSameAsTheLongWay(scene, ShadowCompositing::Direct);
    }
}

TEST(ShadowCompositor, InkAtAndPastTheTargetsEdgesIsCompositedDirectly) {
    Scene scene = plainScene();
    for (CGPoint at : {CGPoint{-30, -25}, CGPoint{kWidth - 40.5, kHeight - 35.2}, CGPoint{kWidth - 5.0, 60},
                       CGPoint{-68, 20}, CGPoint{150, -66}}) {
        SCOPED_TRACE(testing::Message() << at.x << "," << at.y);
        scene.draw = ringAndSquare(at.x, at.y, 70);
        expectSameAsTheLongWay(scene, ShadowCompositing::Direct);
    }
}

TEST(ShadowCompositor, OffsetsThatCastTheShadowBlocksAwayAreCompositedDirectly) {
    // The shadow lands beyond the group's own blocks of 16 columns, either way, across and down; the
    // ink is near the target's edges too, so that some of the shadow falls off it.
    Scene scene = plainScene();
    for (CGSize offset : {CGSize{-37, 21}, CGSize{40, -3}, CGSize{-16, -16}, CGSize{17, 0}, CGSize{0, 33}}) {
        for (CGPoint at : {CGPoint{40.3, 30.6}, CGPoint{-20.5, 90.25}, CGPoint{kWidth - 50.0, -12}}) {
            SCOPED_TRACE(testing::Message() << offset.width << "," << offset.height << " at " << at.x << "," << at.y);
            scene.draw = ringAndSquare(at.x, at.y, 63);
            scene.shadow.offset = offset;
            expectSameAsTheLongWay(scene, ShadowCompositing::Direct);
        }
    }
    scene.shadow.offset = {1500, 0};  // too far to keep room for: Cairo composites it
    expectSameAsTheLongWay(scene, ShadowCompositing::Cairo);
}

TEST(ShadowCompositor, OverlappingShadowedGroupsComeOutAsTheLongWay) {
    // Each group's shadow falls on the ink and shadow of those before it.
    auto draw = [](bool throughContext) {
        cairo_surface_t *target = makeTarget();
        cairo_t *cr = cairo_create(target);
        MarqenGraphicsContext context(cr);
        for (int i = 0; i < 6; ++i) {
            Scene scene = plainScene();
            scene.draw = ringAndSquare(20.5 + 17 * i, 15.25 + 9 * i, 45 + 5 * i);
            scene.shadow = {{static_cast<double>(i % 3) - 1, -3.0 + i}, i % 2 ? 2.0 : 5.0, {0.1 * i, 0, 0.3, 0.5}};
            drawShadowed(cr, scene, throughContext, &context);
        }
        cairo_destroy(cr);
        std::vector<uint8_t> bytes = bytesOf(target);
        cairo_surface_destroy(target);
        return bytes;
    };
    EXPECT_EQ(draw(true), draw(false));
}

TEST(ShadowCompositor, ClipEdgesFractionalOffsetsAndTranslucentGroupsGoThroughCairo) {
    Scene scene = plainScene();
    scene.clip = CGRectMake(60.5, 20.25, 100, 100);  // cuts through the ring: its edge pixels are partly covered
    expectSameAsTheLongWay(scene, ShadowCompositing::Cairo);

    scene = plainScene();
    scene.shadow.offset = {2.5, -1.25};
    expectSameAsTheLongWay(scene, ShadowCompositing::Cairo);

    scene = plainScene();
    scene.alpha = 0.55;
    expectSameAsTheLongWay(scene, ShadowCompositing::Cairo);
}

TEST(ShadowCompositor, TurnedAndScaledTransforms) {
    Scene scene = plainScene();
    scene.ctm = {1.5, 0, 0, -1.25, 10.5, 140.25};  // scaled and flipped: the clip stays a device rectangle
    scene.draw = ringAndSquare(10, 10, 60);
    scene.clip = CGRectMake(2, -10, 110, 110);
    expectSameAsTheLongWay(scene, ShadowCompositing::Direct);

    cairo_matrix_init_rotate(&scene.ctm, 0.4);  // turned: the clip's shape is not followed
    scene.ctm.x0 = 60;
    scene.clip = CGRectMake(-10, -20, 150, 120);
    expectSameAsTheLongWay(scene, ShadowCompositing::Cairo);
}

TEST(ShadowCompositor, AGroupWithoutInkChangesNothing) {
    Scene scene = plainScene();
    scene.draw = [](cairo_t *cr) {
        cairo_set_source_rgba(cr, 1, 0, 0, 0);  // transparent ink leaves the group empty
        cairo_rectangle(cr, 20, 20, 50, 50);
        cairo_fill(cr);
    };
    cairo_surface_t *untouched = makeTarget();
    const std::vector<uint8_t> before = bytesOf(untouched);
    cairo_surface_destroy(untouched);
    expectSameAsTheLongWay(scene, ShadowCompositing::Direct);
    ShadowCompositing how;
    EXPECT_EQ(drawThroughRasterPath(scene, how), before);
}

TEST(ShadowCompositor, NestedGroupsAndRawClipsAreRespected) {
    // Inside an outer group the target is itself a group surface with its own device offset.
    Scene scene = plainScene();
    auto nested = [](const Scene &scene, bool throughContext) {
        cairo_surface_t *target = makeTarget();
        cairo_t *cr = cairo_create(target);
        cairo_rectangle(cr, 15, 12, 150, 120);
        cairo_clip(cr);
        cairo_push_group(cr);
        drawShadowed(cr, scene, throughContext);
        cairo_pop_group_to_source(cr);
        cairo_paint_with_alpha(cr, 0.8);
        cairo_destroy(cr);
        std::vector<uint8_t> bytes = bytesOf(target);
        cairo_surface_destroy(target);
        return bytes;
    };
    EXPECT_EQ(nested(scene, true), nested(scene, false));

    // A clip set on the raw Cairo context behind the graphics context's back is not overlooked.
    auto rawClip = [](const Scene &scene, bool throughContext) {
        cairo_surface_t *target = makeTarget();
        cairo_t *cr = cairo_create(target);
        MarqenGraphicsContext context(cr);
        cairo_rectangle(cr, 70.5, 10, 100, 100);  // cuts through the ring
        cairo_clip(cr);
        drawShadowed(cr, scene, throughContext, &context);
        cairo_destroy(cr);
        std::vector<uint8_t> bytes = bytesOf(target);
        cairo_surface_destroy(target);
        return bytes;
    };
    EXPECT_EQ(rawClip(scene, true), rawClip(scene, false));
}

TEST(ShadowCompositor, RandomScenesMatchTheLongWay) {
    std::mt19937 random(11);
    std::uniform_real_distribution<double> unit(0, 1);
    const double blurs[] = {0, 0.5, 2, 2.5, 4, 8, 14, 30};
    for (int i = 0; i < 40; ++i) {
        SCOPED_TRACE(i);
        Scene scene;
        const double size = 10 + 90 * unit(random);
        scene.draw = ringAndSquare(-40 + (kWidth + 20) * unit(random), -40 + (kHeight + 20) * unit(random), size);
        scene.shadow.blur = blurs[random() % std::size(blurs)];
        scene.shadow.offset = {std::round(-6 + 12 * unit(random)), std::round(-6 + 12 * unit(random))};
        if (i % 5 == 0) scene.shadow.offset.width += 0.5;
        scene.shadow.color = {unit(random), unit(random), unit(random), 0.05 + 0.95 * unit(random)};
        if (i % 7 == 0) scene.alpha = 0.3 + 0.6 * unit(random);
        if (i % 3 == 0)
            scene.clip = CGRectMake(kWidth * unit(random) / 2, kHeight * unit(random) / 2, 20 + kWidth * unit(random),
                                    20 + kHeight * unit(random));
        const std::vector<uint8_t> reference = drawTheLongWay(scene);
        ShadowCompositing how;
        EXPECT_EQ(drawThroughRasterPath(scene, how), reference);
        EXPECT_NE(how, ShadowCompositing::NotRaster);
        EXPECT_EQ(drawThroughContext(scene), reference);
    }
}

TEST(ShadowCompositor, RunsAcrossThePagesOfAWideTargetAndPastItsEdges) {
    // The rows of a wide target span several pages: runs of shadow and ink that cross page
    // boundaries, and ink that leaves the target at its right and bottom edges, come out as the long
    // way, and are composited directly.
    constexpr int width = 1500, height = 40;
    const MarqenShadow shadow{{0, -2}, 2, {0, 0, 0, 0.35}};
    auto draw = [&](bool direct, ShadowCompositing &how) {
        cairo_surface_t *target = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
        cairo_t *cr = cairo_create(target);
        cairo_set_source_rgba(cr, 0.3, 0.6, 0.2, 0.7);
        cairo_paint(cr);
        cairo_push_group(cr);
        cairo_set_line_width(cr, 9);
        cairo_set_source_rgba(cr, 0.9, 0.2, 0.1, 1);
        cairo_move_to(cr, -30, 8.5);
        cairo_line_to(cr, width + 30, 35.5);
        cairo_move_to(cr, 100.25, height - 2.5);
        cairo_line_to(cr, width + 100, height + 3);
        cairo_stroke(cr);
        cairo_pattern_t *group = cairo_pop_group(cr);
        const CGRect clip = CGRectMake(0, 0, width, height);
        if (direct) how = compositeShadowedRasterGroup(cr, group, 1, shadow, &clip);
        else compositeTheLongWay(cr, group, 1, shadow);
        cairo_pattern_destroy(group);
        cairo_destroy(cr);
        cairo_surface_flush(target);
        const unsigned char *data = cairo_image_surface_get_data(target);
        std::vector<uint8_t> bytes(data, data + static_cast<size_t>(cairo_image_surface_get_stride(target)) * height);
        cairo_surface_destroy(target);
        return bytes;
    };
    ShadowCompositing how = ShadowCompositing::NotRaster;
    EXPECT_EQ(draw(true, how), draw(false, how));
    EXPECT_EQ(how, ShadowCompositing::Direct);
}

TEST(ShadowCompositor, TargetsThatAreNotPlainImagesAreLeftToTheCaller) {
    cairo_surface_t *target = makeTarget();
    cairo_surface_set_device_scale(target, 2, 2);
    cairo_t *cr = cairo_create(target);
    cairo_push_group(cr);
    plainScene().draw(cr);
    cairo_pattern_t *group = cairo_pop_group(cr);
    EXPECT_EQ(compositeShadowedRasterGroup(cr, group, 1, plainScene().shadow, nullptr), ShadowCompositing::NotRaster);
    cairo_pattern_destroy(group);
    cairo_destroy(cr);
    cairo_surface_destroy(target);

    cairo_surface_t *recording = cairo_recording_surface_create(CAIRO_CONTENT_COLOR_ALPHA, nullptr);
    cr = cairo_create(recording);
    cairo_push_group(cr);
    plainScene().draw(cr);
    group = cairo_pop_group(cr);
    EXPECT_EQ(compositeShadowedRasterGroup(cr, group, 1, plainScene().shadow, nullptr), ShadowCompositing::NotRaster);
    cairo_pattern_destroy(group);
    cairo_destroy(cr);
    cairo_surface_destroy(recording);
}

}  // namespace
}  // namespace marqen
