#ifndef EXTDISPLAY_H
#define EXTDISPLAY_H

#include <utility>

#include <QJsonObject>
#include <QSize>
#include <QString>
#include <QStringList>

#include "qvorlinexport.h"

/**
 * The external display: which outputs there are, and which of them Qt's EGLFS platform lights.
 *
 * A program chooses its output before it makes the application object:
 *
 * @code
 * extdisplay::OutputInfo const output = extdisplay::setEGLFSKMSOutput(
 *     QStringLiteral("HDMI1"), QStringLiteral("1920x1080"), QSize(), true);
 * QVorlinApplication app(argc, argv);
 * @endcode
 *
 * Outputs are named as that platform names them: "HDMI1", "DP2". The device is the first card,
 * opened and closed within each call. Nothing is logged; every failure shows in the result.
 */
namespace extdisplay {

/** An output that was selected; all empty when none was. */
struct OutputInfo
{
    OutputInfo() = default;
    OutputInfo(QString outputKey, QString displayName, QString audioDevice)
        : output(std::move(outputKey))
        , name(std::move(displayName))
        , audio(std::move(audioDevice))
    {}

    /** Its key in the board's outputs map, also the name of its connector. */
    QString output;
    QString name;
    /** The sound device that belongs to it. */
    QString audio;
};

/** An entry of the board's outputs map. */
struct BoardOutputInfo
{
    QString output;
    QString name;
    /** The connectors that may be it, the best first. */
    QStringList qtConnectors;
    /** The display controllers that may drive it, one bit each; -1 where the map doesn't say. */
    int crtcMask = 0;
    QString audio;
    /** Whether modes of well-known names are set by the library's own timings. */
    bool fixedModes = false;
};

struct VideoMode
{
    QSize resolution{0, 0};
    /** Pictures a second. */
    qreal refreshRate = 0;
};

/**
 * Whether a display is plugged into the connector named @p output; the hardware is asked, which
 * can take some 100 ms. False as well when there is no such connector. Thread-safe.
 */
QVORLIN_EXPORT bool isOutputConnected(QString output);

/** Whether a display is plugged into the output that was selected. Thread-safe. */
QVORLIN_EXPORT bool isEGLFSKMSOutputConnected(OutputInfo const& info);

/** Whether the primary screen's display is plugged in, on EGLFS. Thread-bound to the GUI thread. */
QVORLIN_EXPORT bool isCurrentOutputConnected();

/**
 * The mode of the primary screen, where Qt's platform tells the size that it really set; a size of
 * 0 x 0 and a rate of 0 elsewhere. Qt as published has no such query, so it is always that here.
 * Thread-bound to the GUI thread.
 */
QVORLIN_EXPORT VideoMode getCurrentOutputVideoMode();

/**
 * Looks @p output up in the board's outputs map, the JSON file that the environment variable
 * EXTDISPLAY_OUTPUTS_CONFIG names, or else /tmp/extdisplay/outputs.json.
 *
 * Without such a file the output is the connector of the same name; when the file has no such
 * output, or is no outputs map, the entry is empty. Thread-safe.
 */
QVORLIN_EXPORT BoardOutputInfo getOutputConnectorInfo(QString output);

/**
 * The configuration that makes Qt's EGLFS platform light @p output alone; empty when there is none
 * to make. The arguments are those of setEGLFSKMSOutput(). Thread-safe.
 */
QVORLIN_EXPORT QJsonObject buildEGLFSKMSConfig(
    QString output, QString mode, QSize size, bool requireConnected);

/**
 * Makes Qt's EGLFS platform light @p output alone: puts the configuration, as JSON text, into the
 * environment variable QT_QPA_EGLFS_KMS_CONFIG. To be called before the application object is
 * made, while no other thread uses the environment; later it has no effect.
 *
 * @param output key in the board's outputs map
 * @param mode "1920x1080", a modeline, or whatever else the platform understands; what the display
 *     prefers when empty
 * @param size ignored
 * @param requireConnected refuse an output without a display
 * @return what was selected; empty when nothing was, and then the environment is as it was
 */
QVORLIN_EXPORT OutputInfo setEGLFSKMSOutput(
    QString output, QString mode, QSize size, bool requireConnected);

} // namespace extdisplay

#endif
