#ifndef VIDEOOUTPUT_H
#define VIDEOOUTPUT_H

#include "pictures.h"

#include <memory>
#include <string>

#include <QRect>

/** The window that everything is measured in: it fills the screen. */
constexpr QSize windowSize(1920, 1080);

/** A window that shows one video or a square of them, all the same size. */
class VideoOutput
{
public:
    virtual ~VideoOutput() = default;

    /**
     * Shows picture @p index in the first tile, the next ones in the tiles that follow, counting
     * round. Returns when all are drawn and have gone to the display server.
     * @return whether they have
     */
    virtual bool show(int index) = 0;
};

/** Where in a window tile @p index of a square of @p count is. */
QRect tileRect(const QSize& window, int index, int count);

/** The pictures outlive the outputs. */
using Pictures = std::vector<Picture>;

// Each returns null when its window didn't come up.

/**
 * The bare limit: one window and one OpenGL context; for each tile the three planes go into its
 * textures and are drawn by the same computation as in the library, then the buffers are swapped.
 */
std::unique_ptr<VideoOutput> bareOutput(const Pictures& pictures, int tiles);
/** The same for windows of their own: each has a context, and its buffers are swapped. */
std::unique_ptr<VideoOutput> bareWindows(const Pictures& pictures, int count);
/** A window of CustomVideoWidgets, each with some overlays: a box and a number that changes. */
std::unique_ptr<VideoOutput> widgetOutput(const Pictures& pictures, int tiles, int overlays);
/** When pictures become RGB, which is all that a QVideoWidget takes. */
enum class Conversion
{
    EachTime,
    Ahead
};
/** The peer: a QVideoWidget, fed through its video surface. */
std::unique_ptr<VideoOutput> qtOutput(const Pictures& pictures, Conversion conversion);

/** What draws for OpenGL here; empty: there is no OpenGL. */
std::string rendererName();

#endif
