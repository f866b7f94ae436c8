#ifndef CARD_H
#define CARD_H

#include "edid.h"

#include <optional>

#include <QSize>
#include <QVector>

/** One mode that an output's display can show. */
struct OutputMode
{
    QSize size;
    double rate = 0; /**< pictures a second; of an interlaced mode, half pictures */
    bool interlaced = false;
    bool preferred = false;
};

/** One connector of the card, as the kernel knew it when it was last probed. */
struct Output
{
    enum class Connection
    {
        Connected,
        Disconnected,
        Unknown
    };

    QString name; /**< HDMI1, as the platform plug-in calls it */
    Connection connection = Connection::Unknown;
    QSize millimetres{0, 0};  /**< of the display's picture; 0x0 when it is not known */
    std::optional<Edid> edid; /**< without a value: the display gave none */
    QVector<OutputMode> modes;
};

/** The display card. */
struct Card
{
    QString device;
    QVector<Output> outputs;
    QString fault; /**< why the outputs can't be told, one line; empty: they were */
};

/**
 * Reads the first card of the system. It asks for no rights over the display, so another process
 * may own it, and leaves the displays alone: nothing is probed. Reentrant.
 */
Card readCard();

#endif
