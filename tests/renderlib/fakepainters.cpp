#include "fakepainters.h"

#include <utility>

#include <QOpenGLContext>
#include <QPainter>

#include "renderlib/customvideosurfacegenericpainter.h"
#include "renderlib/customvideosurfaceglslpainter.h"

QStringList FakePainters::takeCalls()
{
    return std::exchange(calls, {});
}

FakePainters& fakePainters()
{
    static FakePainters painters;
    return painters;
}

namespace {

using Error = QAbstractVideoSurface::Error;

void note(char const* painter, char const* call)
{
    fakePainters().calls.append(
        QString::fromLatin1(painter) + QLatin1Char(' ') + QLatin1String(call));
}

QList<QVideoFrame::PixelFormat> formats(QAbstractVideoBuffer::HandleType handleType)
{
    fakePainters().askedHandleType = handleType;
    return fakePainters().supported;
}

bool isSupported(QVideoSurfaceFormat const& format)
{
    return fakePainters().supported.contains(format.pixelFormat());
}

Error start(char const* painter, QVideoSurfaceFormat const& format)
{
    note(painter, "start");
    fakePainters().format = format;
    return fakePainters().startError;
}

Error setFrame(char const* painter, QVideoFrame const& frame)
{
    note(painter, frame.isValid() ? "frame" : "empty frame");
    fakePainters().frame = frame;
    return fakePainters().frameError;
}

Error paint(char const* name, QRectF const& target, QPainter* painter, QRectF const& source)
{
    note(name, "paint");
    fakePainters().target = target;
    fakePainters().deviceSize = {painter->device()->width(), painter->device()->height()};
    fakePainters().source = source;
    return fakePainters().paintError;
}

void setBackground(char const* painter, QColor const& color)
{
    note(painter, "background");
    fakePainters().backgroundColor = color;
}

void setMode(char const* painter, Qt::AspectRatioMode mode)
{
    note(painter, "aspect ratio");
    fakePainters().aspectRatioMode = mode;
}

} // namespace

// These take the place of the library's own.
namespace renderlib {

CustomVideoSurfaceGenericPainter::CustomVideoSurfaceGenericPainter()
{
    note("generic", "created");
}

CustomVideoSurfaceGenericPainter::~CustomVideoSurfaceGenericPainter()
{
    note("generic", "deleted");
}

QList<QVideoFrame::PixelFormat> CustomVideoSurfaceGenericPainter::supportedPixelFormats(
    QAbstractVideoBuffer::HandleType handleType) const
{
    return formats(handleType);
}

bool CustomVideoSurfaceGenericPainter::isFormatSupported(QVideoSurfaceFormat const& format) const
{
    return isSupported(format);
}

Error CustomVideoSurfaceGenericPainter::start(QVideoSurfaceFormat const& format)
{
    return ::start("generic", format);
}

void CustomVideoSurfaceGenericPainter::stop()
{
    note("generic", "stop");
}

Error CustomVideoSurfaceGenericPainter::setCurrentFrame(QVideoFrame const& frame)
{
    return setFrame("generic", frame);
}

Error CustomVideoSurfaceGenericPainter::paint(
    QRectF const& target, QPainter* painter, QRectF const& source)
{
    return ::paint("generic", target, painter, source);
}

QColor CustomVideoSurfaceGenericPainter::backgroundColor() const
{
    return fakePainters().backgroundColor;
}

void CustomVideoSurfaceGenericPainter::setBackgroundColor(QColor const& color)
{
    setBackground("generic", color);
}

Qt::AspectRatioMode CustomVideoSurfaceGenericPainter::aspectRatioMode() const
{
    return fakePainters().aspectRatioMode;
}

void CustomVideoSurfaceGenericPainter::setAspectRatioMode(Qt::AspectRatioMode mode)
{
    setMode("generic", mode);
}

void CustomVideoSurfaceGenericPainter::updateColors()
{
    note("generic", "colours");
}

CustomVideoSurfaceGLPainter::CustomVideoSurfaceGLPainter(QOpenGLContext* context)
    : mContext(context)
{}

CustomVideoSurfaceGLPainter::~CustomVideoSurfaceGLPainter() = default;

QList<QVideoFrame::PixelFormat> CustomVideoSurfaceGLPainter::supportedPixelFormats(
    QAbstractVideoBuffer::HandleType handleType) const
{
    return formats(handleType);
}

bool CustomVideoSurfaceGLPainter::isFormatSupported(QVideoSurfaceFormat const& format) const
{
    return isSupported(format);
}

void CustomVideoSurfaceGLPainter::stop() {}

Error CustomVideoSurfaceGLPainter::setCurrentFrame(QVideoFrame const& frame)
{
    return setFrame("glsl", frame);
}

Error CustomVideoSurfaceGLPainter::paint(
    QRectF const& /*target*/, QPainter* /*painter*/, QRectF const& /*source*/)
{
    return Error::NoError;
}

QColor CustomVideoSurfaceGLPainter::backgroundColor() const
{
    return fakePainters().backgroundColor;
}

void CustomVideoSurfaceGLPainter::setBackgroundColor(QColor const& color)
{
    setBackground("glsl", color);
}

Qt::AspectRatioMode CustomVideoSurfaceGLPainter::aspectRatioMode() const
{
    return fakePainters().aspectRatioMode;
}

void CustomVideoSurfaceGLPainter::setAspectRatioMode(Qt::AspectRatioMode mode)
{
    setMode("glsl", mode);
}

void CustomVideoSurfaceGLPainter::updateColors()
{
    note("glsl", "colours");
}

void CustomVideoSurfaceGLPainter::viewportDestroyed()
{
    note("glsl", "viewport destroyed");
}

CustomVideoSurfaceGlslPainter::CustomVideoSurfaceGlslPainter(QOpenGLContext* context)
    : CustomVideoSurfaceGLPainter(context)
{
    bool const current = context && QOpenGLContext::currentContext() == context;
    note("glsl", current ? "created" : "created without its context");
    fakePainters().context = context;
}

CustomVideoSurfaceGlslPainter::~CustomVideoSurfaceGlslPainter()
{
    note("glsl", "deleted");
}

Error CustomVideoSurfaceGlslPainter::start(QVideoSurfaceFormat const& format)
{
    return ::start("glsl", format);
}

void CustomVideoSurfaceGlslPainter::stop()
{
    note("glsl", "stop");
}

Error CustomVideoSurfaceGlslPainter::paint(
    QRectF const& target, QPainter* painter, QRectF const& source)
{
    return ::paint("glsl", target, painter, source);
}

} // namespace renderlib
