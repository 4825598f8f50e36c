#include "foundation/geometry_functions.h"

namespace marqen {

CGRect CGRectMakeWithSizeAndCenter(CGSize size, CGPoint center) {
    return CGRectIntegral(
        CGRectMake(center.x - size.width / 2, center.y - size.height / 2, size.width, size.height));
}

CGRect CGRectNormalizeWithAspect(CGRect rect, CGFloat aspect) {
    CGFloat rectWidth = CGRectGetWidth(rect), rectHeight = CGRectGetHeight(rect);
    CGFloat width, height;
    if (aspect > 1.0) {
        // Only the width limits a wide aspect; the height may exceed the rectangle's.
        width = rectWidth;
        height = width / aspect;
    } else {
        height = rectHeight;
        width = height * aspect;
        if (width > rectWidth) {
            width = rectWidth;
            height = width / aspect;
        }
    }
    return CGRectMake(CGRectGetMinX(rect) + (rectWidth - width) * 0.5, CGRectGetMinY(rect) + (rectHeight - height) * 0.5,
                      width, height);
}

CGFloat CGSizeGetAspectFitScale(CGSize size, CGSize bounds) {
    if (size.width == 0 || size.height == 0) return 1.0;
    if (size.width / size.height > bounds.width / bounds.height) return bounds.width / size.width;
    return bounds.height / size.height;
}

CGSize CGSizeScaleAspectFit(CGSize size, CGSize bounds) {
    CGFloat scale = CGSizeGetAspectFitScale(size, bounds);
    return {size.width * scale, size.height * scale};
}

CGAffineTransform CGAffineTransformRotateAroundCenterOfFrame(CGFloat angle, CGRect frame) {
    CGFloat halfWidth = frame.size.width / 2, halfHeight = frame.size.height / 2;
    CGAffineTransform t = CGAffineTransformTranslate(CGAffineTransformIdentity, -halfWidth, -halfHeight);
    t = CGAffineTransformRotate(t, angle);
    return CGAffineTransformTranslate(t, halfWidth, halfHeight);
}

CGRect MarqenRectAlignMidpoint(CGRect anchor, CGRect rect) {
    return CGRectMake(CGRectGetMidX(anchor) - CGRectGetWidth(rect) / 2, CGRectGetMidY(anchor) - CGRectGetHeight(rect) / 2,
                      rect.size.width, rect.size.height);
}

}  // namespace marqen
