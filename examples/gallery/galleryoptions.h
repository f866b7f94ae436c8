#ifndef GALLERYOPTIONS_H
#define GALLERYOPTIONS_H

#include <QString>
#include <QStringList>

#include "commandline.h"
#include "runoptions.h"

/** What the user asks for. */
struct GalleryOptions : RunOptions
{
    QString stream = QStringLiteral("live");
    QString address;  /**< for the QR code; empty: made of the stream's name */
    QStringList keys; /**< of the information store; none: the usual ones */
    bool fullScreen = false;

    /** The address given, or "stream:" and the stream's name. */
    QString codeText() const;

    /** The keys given, or else the usual ones. */
    QStringList shownKeys() const;
};

/** The command line that sets @p options, which must outlive it. */
CommandLineSyntax commandLineSyntax(GalleryOptions& options);

#endif
