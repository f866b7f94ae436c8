#ifndef WALLWINDOW_H
#define WALLWINDOW_H

#include <memory>
#include <vector>

#include <QImage>
#include <QStringList>
#include <QWidget>

#include "streamreport.h"

class StreamDisplay;
class VideoView;

/** A window with the pictures of several streams in a grid, each painted by a widget of its own. */
class WallWindow : public QWidget
{
    Q_OBJECT

public:
    WallWindow(QStringList const& streams, int rateNum, int rateDen);
    ~WallWindow() override;

    void start();
    void stop();

    /** In the order of the streams. */
    QVector<StreamReport> report() const;

    /** What OpenGL calls the device that paints; empty before the first picture. */
    QString renderer() const;

    /** Paints, and reads back what was painted; a null image when OpenGL does not work. */
    QImage picture();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    struct Tile
    {
        VideoView* view; // a child of the window
        std::unique_ptr<StreamDisplay> display;
    };

    std::vector<Tile> mTiles;
};

#endif
