#ifndef EDID_H
#define EDID_H

#include <QByteArray>
#include <QString>

/** What a display says about itself. Reentrant. */
struct Edid
{
    QString name;  /**< of the monitor, printable ASCII; empty: it says none */
    QString fault; /**< what is wrong with the bytes; empty: nothing */
};

/** Bytes of the base block; all that parseEdid() looks at. */
constexpr int EdidBlockSize = 128;

/**
 * Reads the base block of an EDID. The bytes come from the display's cable: any are welcome, and
 * what is not a valid block gives a fault and no name. Extension blocks after it are left alone.
 */
Edid parseEdid(QByteArray const& bytes);

#endif
