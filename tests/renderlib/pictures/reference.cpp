#include "reference.h"

#include <algorithm>
#include <array>
#include <cmath>

QColor const Untouched(250, 20, 230);

namespace {

using Sample = std::array<double, 4>;
using Matrix = std::array<Sample, 3>;

constexpr Matrix FullRange = {{
    {1.0, 0.0, 1.402, -0.701},
    {1.0, -0.344, -0.714, 0.529},
    {1.0, 1.772, 0.0, -0.886},
}};
constexpr Matrix Bt601 = {{
    {1.164, 0.0, 1.596, -0.8708},
    {1.164, -0.392, -0.813, 0.5296},
    {1.164, 2.017, 0.0, -1.081},
}};
constexpr Matrix Bt709 = {{
    {1.164, 0.0, 1.793, -0.5727},
    {1.164, -0.534, -0.213, 0.3007},
    {1.164, 2.115, 0.0, -1.1302},
}};

Matrix const& matrixOf(QVideoSurfaceFormat::YCbCrColorSpace space)
{
    if (space == QVideoSurfaceFormat::YCbCr_JPEG)
        return FullRange;
    if (space == QVideoSurfaceFormat::YCbCr_BT709 || space == QVideoSurfaceFormat::YCbCr_xvYCC709)
        return Bt709;
    return Bt601;
}

/** The channels of @p plane at (@p s, @p t), where (0, 0) is the first texel's outer corner. */
Sample linear(Plane const& plane, double s, double t)
{
    double const x = s * plane.width - 0.5;
    double const y = t * plane.height - 0.5;
    double const right = x - std::floor(x);
    double const below = y - std::floor(y);
    int const left = std::clamp(int(std::floor(x)), 0, plane.width - 1);
    int const next = std::clamp(int(std::floor(x)) + 1, 0, plane.width - 1);
    int const top = std::clamp(int(std::floor(y)), 0, plane.height - 1);
    int const bottom = std::clamp(int(std::floor(y)) + 1, 0, plane.height - 1);
    Sample sample = {};
    for (int i = 0; i < plane.channels; ++i) {
        double const upper = plane.at(left, top, i) * (1 - right) + plane.at(next, top, i) * right;
        double const lower =
            plane.at(left, bottom, i) * (1 - right) + plane.at(next, bottom, i) * right;
        sample[size_t(i)] = (upper * (1 - below) + lower * below) / 255;
    }
    return sample;
}

Sample converted(Matrix const& matrix, double y, double u, double v)
{
    Sample colour = {0, 0, 0, 1};
    for (size_t i = 0; i < matrix.size(); ++i)
        colour[i] = matrix[i][0] * y + matrix[i][1] * u + matrix[i][2] * v + matrix[i][3];
    return colour;
}

Sample shaded(Scene const& scene, Picture const& picture, double s, double t)
{
    Sample const first = linear(picture.planes[0], s, t);
    if (picture.format == QVideoFrame::Format_YUV420P) {
        return converted(matrixOf(scene.colorSpace), first[0], linear(picture.planes[1], s, t)[0],
            linear(picture.planes[2], s, t)[0]);
    }
    if (picture.format == QVideoFrame::Format_NV12) {
        Sample const second = linear(picture.planes[1], s, t);
        return converted(matrixOf(scene.colorSpace), first[0], second[0], second[1]);
    }
    // Only frames in memory keep their alpha.
    bool const opaque = picture.format == QVideoFrame::Format_RGB32 ||
                        picture.handleType == QAbstractVideoBuffer::GLTextureHandle;
    return {first[2], first[1], first[0], opaque ? 1 : first[3]};
}

void setPixel(QImage* image, int x, int y, Sample const& colour)
{
    uchar* pixel = image->scanLine(y) + 4 * x;
    for (size_t i = 0; i < colour.size(); ++i)
        pixel[i] = uchar(std::lround(std::clamp(colour[i], 0.0, 1.0) * 255));
}

QImage blank(QSize const& size, QColor const& colour)
{
    QImage image(size, QImage::Format_RGBA8888);
    image.fill(colour);
    return image;
}

/** Where the frame lies in the target, counted from the lower left as OpenGL does. */
QRectF fitted(Scene const& scene, QSize const& frame)
{
    QRectF const& target = scene.target;
    if (scene.aspectRatioMode == Qt::IgnoreAspectRatio)
        return target;
    float const aspect = float(frame.width()) / float(frame.height());
    if (aspect > target.width() / target.height()) {
        int const height = qRound(target.width() / aspect);
        return QRectF(target.x(), (target.height() - height) / 2, target.width(), height);
    }
    int const width = qRound(target.height() * aspect);
    return QRectF((target.width() - width) / 2, target.y(), width, target.height());
}

bool covers(double from, double to, double centre, bool lowerLeft)
{
    return lowerLeft ? from <= centre && centre < to : from < centre && centre <= to;
}

/** The texel under a pixel's centre. */
int nearest(double position, int count)
{
    if (std::abs(position - std::round(position)) < 0.002)
        qFatal("A pixel's centre is at %f, the border of two texels", position);
    return std::clamp(int(std::floor(position)), 0, count - 1);
}

/** Draws the picture over @p area of @p image, which holds what is behind it. */
QImage drawn(QImage image, QRectF const& area, Scene const& scene, Picture const& picture,
    bool upsideDown, bool mirrored)
{
    Plane const& plane = picture.planes.front();
    for (int y = 0; y < image.height(); ++y) {
        double down = (y + 0.5 - area.top()) / area.height();
        if (down < 0 || down > 1)
            continue;
        down = upsideDown ? 1 - down : down;
        int const row = nearest(scene.source.y() + down * scene.source.height(), plane.height);
        for (int x = 0; x < image.width(); ++x) {
            double across = (x + 0.5 - area.left()) / area.width();
            if (across < 0 || across > 1)
                continue;
            across = mirrored ? 1 - across : across;
            int const column =
                nearest(scene.source.x() + across * scene.source.width(), plane.width);
            bool const opaque = picture.format == QVideoFrame::Format_RGB32;
            double const alpha = opaque ? 1 : plane.at(column, row, 3) / 255.0;
            uchar const* behind = image.constScanLine(y) + 4 * x;
            Sample colour = {0, 0, 0, 1};
            for (int i = 0; i < 3; ++i) {
                double const value = plane.at(column, row, 2 - i);
                colour[size_t(i)] = (value * alpha + behind[i] * (1 - alpha)) / 255;
            }
            setPixel(&image, x, y, colour);
        }
    }
    return image;
}

} // namespace

Scene wholeScene(QSize const& device, Picture const& picture)
{
    Scene scene;
    scene.device = device;
    scene.target = QRectF(QPointF(0, 0), device);
    scene.source = QRectF(QPointF(0, 0), picture.size);
    return scene;
}

QImage shaderReference(Scene const& scene, Picture const& picture, bool lowerLeft)
{
    QImage image = blank(scene.device, scene.background);
    QRect const viewport(int(scene.target.x()), int(scene.target.y()), int(scene.target.width()),
        int(scene.target.height()));
    QRectF const quad = fitted(scene, picture.size).translated(viewport.topLeft());
    QRectF const& source = scene.source;
    for (int y = viewport.top(); y <= std::min(viewport.bottom(), image.height() - 1); ++y) {
        if (!covers(quad.top(), quad.bottom(), y + 0.5, lowerLeft))
            continue;
        double const up = (y + 0.5 - quad.top()) / quad.height();
        double const down =
            scene.scanLineDirection == QVideoSurfaceFormat::TopToBottom ? 1 - up : up;
        double const t = (source.y() + down * source.height()) / picture.size.height();
        for (int x = viewport.left(); x <= std::min(viewport.right(), image.width() - 1); ++x) {
            if (!covers(quad.left(), quad.right(), x + 0.5, lowerLeft))
                continue;
            double const right = (x + 0.5 - quad.left()) / quad.width();
            double const across = scene.mirrored ? 1 - right : right;
            double const s = (source.x() + across * source.width()) / picture.size.width();
            setPixel(&image, x, image.height() - 1 - y, shaded(scene, picture, s, t));
        }
    }
    return image;
}

QImage softwareReference(Scene const& scene, Picture const& picture)
{
    QImage image = blank(scene.device, Untouched);
    QRect const target = scene.target.toRect();
    for (int y = target.top(); y <= target.bottom(); ++y) {
        for (int x = target.left(); x <= target.right(); ++x)
            image.setPixelColor(x, y, scene.background);
    }
    bool const pixmap = picture.handleType == QAbstractVideoBuffer::QPixmapHandle;
    bool const upsideDown = !pixmap && scene.scanLineDirection == QVideoSurfaceFormat::BottomToTop;
    bool const mirrored = !pixmap && scene.mirrored;
    QRectF area = scene.target;
    // Turned round about the device's own edges, a target away from them is stretched up to them.
    if (upsideDown)
        area.setTop(0);
    if (mirrored)
        area.setLeft(0);
    return drawn(image, area, scene, picture, upsideDown, mirrored);
}

QImage pixmapReference(Scene const& scene, Picture const& picture)
{
    return drawn(blank(scene.device, Untouched), scene.target, scene, picture, false, false);
}
