#pragma once
#include <QRect>
#include <QtMath>

// Layout figures are kept in twips; 15 twips make one logical pixel.
// This is the only place that converts them.
constexpr int kTwipsPerPixel = 15;

inline int twipsToPixels(int twips)
{
    return qRound(double(twips) / kTwipsPerPixel);
}

struct TwipsRect {
    int left, top, width, height;
    QRect toPixels() const { return {twipsToPixels(left), twipsToPixels(top), twipsToPixels(width), twipsToPixels(height)}; }
};
