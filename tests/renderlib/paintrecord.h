#ifndef PAINTRECORD_H
#define PAINTRECORD_H

#include <QPainter>
#include <QPointF>
#include <QVector>

#include "glrecorder.h"
#include "glscene.h"
#include "renderlib/customvideosurfaceglslpainter.h"

/** A started painter with a frame, and what it does to paint it. */
class PaintRecord
{
public:
    explicit PaintRecord(QSize const& viewport = {8, 8})
        : scene(viewport)
        , painter(scene.context())
    {}
    ~PaintRecord() { painter.stop(); }

    /** Starts the painter and gives it the frame, as a surface would. */
    void show(QVideoSurfaceFormat const& format, QVideoFrame const& frame)
    {
        QCOMPARE(painter.start(format), QAbstractVideoSurface::NoError);
        glrecorder::start();
        QCOMPARE(painter.setCurrentFrame(frame), QAbstractVideoSurface::NoError);
        textures.clear();
        for (GlCall const& call : only(glrecorder::stop(), {"glBindTexture"}))
            textures.append(call.arguments[1]);
        painter.updateColors();
    }

    void paint(QRectF const& target, QRectF const& source)
    {
        glrecorder::start();
        error = painter.paint(target, &scene.painter(), source);
        calls = glrecorder::stop();
    }

    /** The four vertices that were drawn: x and y in turns. */
    QVector<double> positions() const { return attribute("vertexCoordArray"); }
    /** The texture coordinates: u and v in turns. */
    QVector<double> coordinates() const { return attribute("textureCoordArray"); }

    /** What the last paint set a uniform to; empty if it didn't. */
    QVector<double> uniform(QByteArray const& name) const
    {
        double location = -1;
        QVector<double> value;
        for (GlCall const& call : calls) {
            if (call.name == "glGetUniformLocation")
                location = call.text == name ? call.result : -1;
            else if (location >= 0 && call.arguments.value(0) == location)
                value = call.name == "glUniform1i" ? call.arguments.mid(1) : call.values;
        }
        return value;
    }

    GlScene scene;
    renderlib::CustomVideoSurfaceGlslPainter painter;
    QVector<double> textures;
    GlCalls calls;
    QAbstractVideoSurface::Error error = QAbstractVideoSurface::NoError;

private:
    double location(QByteArray const& name) const
    {
        for (GlCall const& call : calls) {
            if (call.name == "glGetAttribLocation" && call.text == name)
                return call.result;
        }
        return -1;
    }

    QVector<double> attribute(QByteArray const& name) const
    {
        GlCalls const draws = only(calls, {"glDrawArrays"});
        if (draws.size() != 1 || draws[0].values.size() != 16)
            return {};
        // Arrays are recorded by rising location.
        bool const first =
            location(name) <= qMin(location("vertexCoordArray"), location("textureCoordArray"));
        return draws[0].values.mid(first ? 0 : 8, 8);
    }
};

#endif
