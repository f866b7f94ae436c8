#ifndef FAKEPAINTERS_H
#define FAKEPAINTERS_H

#include <QAbstractVideoSurface>
#include <QColor>
#include <QRectF>
#include <QSize>
#include <QStringList>
#include <QVideoFrame>
#include <QVideoSurfaceFormat>

class QOpenGLContext;

/** What the painters of this program, which paint nothing, are told, and what they answer. */
struct FakePainters
{
    /** "generic" or "glsl", and what was called. */
    QStringList calls;
    QVideoSurfaceFormat format;
    QVideoFrame frame;
    QRectF target;
    QSize deviceSize;
    QRectF source;
    QColor backgroundColor;
    Qt::AspectRatioMode aspectRatioMode = Qt::IgnoreAspectRatio;
    QOpenGLContext* context = nullptr;
    QAbstractVideoBuffer::HandleType askedHandleType = QAbstractVideoBuffer::UserHandle;

    QList<QVideoFrame::PixelFormat> supported{QVideoFrame::Format_RGB32};
    QAbstractVideoSurface::Error startError = QAbstractVideoSurface::NoError;
    QAbstractVideoSurface::Error frameError = QAbstractVideoSurface::NoError;
    QAbstractVideoSurface::Error paintError = QAbstractVideoSurface::NoError;

    /** The calls since the last time. */
    QStringList takeCalls();
};

/** The one state of all painters; tests begin with a new one. */
FakePainters& fakePainters();

#endif
