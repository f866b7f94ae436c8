#include "wallwindow.h"

#include <algorithm>
#include <cmath>

#include <QGridLayout>
#include <QPainter>
#include <QScreen>

#include "streamdisplay.h"
#include "videoview.h"

namespace {

constexpr QSize WindowSize(1280, 720);
constexpr int Gap = 4;
constexpr QSize MinTileSize(80, 45);
constexpr QRgb GapColour = qRgb(48, 54, 61);

} // namespace

WallWindow::WallWindow(QStringList const& streams, int rateNum, int rateDen)
{
    setWindowTitle(streams.join(QStringLiteral(", ")));
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setSpacing(Gap);
    int const columns = int(std::ceil(std::sqrt(streams.size())));
    for (int i = 0; i < streams.size(); ++i) {
        auto* view = new VideoView(streams[i], this);
        view->setMinimumSize(MinTileSize);
        // A large picture takes no more room than a small one.
        view->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);
        grid->addWidget(view, i / columns, i % columns);
        mTiles.push_back(
            {view, std::make_unique<StreamDisplay>(streams[i], rateNum, rateDen, *view)});
    }
    resize(WindowSize.boundedTo(screen()->availableSize()));
}

WallWindow::~WallWindow() = default;

void WallWindow::start()
{
    for (Tile const& tile : mTiles)
        tile.display->start();
}

void WallWindow::stop()
{
    for (Tile const& tile : mTiles)
        tile.display->stop();
}

QVector<StreamReport> WallWindow::report() const
{
    QVector<StreamReport> result;
    for (Tile const& tile : mTiles)
        result.append(tile.display->report());
    return result;
}

QString WallWindow::renderer() const
{
    return mTiles.front().view->renderer();
}

QImage WallWindow::picture()
{
    QImage result(size(), QImage::Format_RGB32);
    result.fill(GapColour);
    QPainter painter(&result);
    for (Tile const& tile : mTiles) {
        QImage const picture = tile.view->picture();
        if (picture.isNull())
            return {};
        painter.drawImage(tile.view->geometry(), picture);
    }
    return result;
}

void WallWindow::paintEvent(QPaintEvent* /*event*/)
{
    QPainter(this).fillRect(rect(), GapColour);
}
