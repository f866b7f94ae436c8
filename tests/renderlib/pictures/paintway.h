#ifndef PAINTWAY_H
#define PAINTWAY_H

#include <functional>
#include <memory>
#include <vector>

#include <QImage>
#include <QMetaType>
#include <QSize>
#include <QVideoSurfaceFormat>

#include "canvas.h"
#include "picture.h"
#include "reference.h"

class QPainter;

namespace renderlib {
class CustomVideoSurfacePainter;
}

enum class PainterKind
{
    Software,
    Shaders
};

/** A kind of painter and a kind of frame that it paints. */
struct Way
{
    char const* name = "";
    PainterKind painter = PainterKind::Software;
    QVideoFrame::PixelFormat format = QVideoFrame::Format_RGB32;
    QAbstractVideoBuffer::HandleType handleType = QAbstractVideoBuffer::NoHandle;
};
Q_DECLARE_METATYPE(Way)

/** All that there are. */
std::vector<Way> const& allWays();

/** A picture of this way's format. */
Picture makePicture(Way const& way, QSize const& size, int seed = 0);

/** What a surface is started with to paint @p picture as in @p scene. */
QVideoSurfaceFormat surfaceFormat(Scene const& scene, Picture const& picture);

/** What the way's painter has to make of @p picture. */
QImage wantedPicture(Way const& way, Scene const& scene, Picture const& picture);

/** Announces the warning that comes with each painter of that kind. */
void expectConstruction(PainterKind kind);

/** A painter and a canvas, which must outlive it. What it refuses comes out as a warning. */
class CanvasPainter
{
public:
    CanvasPainter(Canvas& canvas, PainterKind kind);
    ~CanvasPainter();
    Q_DISABLE_COPY(CanvasPainter)

    /** Starts, or starts again, with pictures like @p picture. */
    void start(Scene const& scene, Picture const& picture);
    /** Makes @p picture the current one. */
    void show(Picture const& picture);
    /** What is painted now, after @p prepare; a null image if the painter refuses to. */
    QImage paint(Scene const& scene, std::function<void(QPainter*)> const& prepare = nullptr);

private:
    Canvas& mCanvas;
    PainterKind const mKind;
    std::unique_ptr<renderlib::CustomVideoSurfacePainter> mPainter;
    std::unique_ptr<PictureTexture> mTexture;
    bool mAnyAlpha = false;
};

/** What a painter of its own makes of @p picture. */
QImage paintedPicture(Canvas& canvas, Way const& way, Scene const& scene, Picture const& picture);

/** Fails the test function unless that is what it has to be. */
void comparePainted(Canvas& canvas, Way const& way, Scene const& scene, Picture const& picture);

#endif
