#ifndef VIEWER_H
#define VIEWER_H

#include <memory>

#include <QImage>
#include <QObject>
#include <QString>

#include "streamreport.h"

struct Options;

/** A window that shows a stream, by either renderer. */
class Viewer : public QObject
{
    Q_OBJECT

public:
    /** The viewer for the renderer that @p options ask for. */
    static std::unique_ptr<Viewer> make(Options const& options);

    virtual void start() = 0;
    virtual void stop() = 0;

    virtual StreamReport report() const = 0;

    /** The device that paints; null when it is not OpenGL. */
    virtual QString renderer() const = 0;

    /** The picture of the window now. */
    virtual QImage picture() = 0;

Q_SIGNALS:
    /** The first frame since the start, or since waiting(), is on the screen. */
    void showing();

    /** The stream has gone. */
    void waiting();
};

#endif
