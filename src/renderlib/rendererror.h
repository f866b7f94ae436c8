#ifndef RENDERERROR_H
#define RENDERERROR_H

#include <QAbstractVideoSurface>
#include <QMetaType>

namespace renderlib {

/** What became of the last frame or paint; the numbers are those of QAbstractVideoSurface::Error.
 */
enum RenderError
{
    /** The last operation succeeded. */
    RenderNoError = QAbstractVideoSurface::NoError,
    /** The frame's format can't be rendered. */
    RenderUnsupportedFormatError = QAbstractVideoSurface::UnsupportedFormatError,
    /** A frame did not match the started format, or could not be mapped. */
    RenderIncorrectFormatError = QAbstractVideoSurface::IncorrectFormatError,
    /** The surface was not started. */
    RenderStoppedError = QAbstractVideoSurface::StoppedError,
    /** The painter or its OpenGL resources failed. */
    RenderResourceError = QAbstractVideoSurface::ResourceError
};

} // namespace renderlib

Q_DECLARE_METATYPE(renderlib::RenderError)

#endif
