#ifndef SCREENSHOT_H
#define SCREENSHOT_H

#include <QImage>
#include <QString>

/**
 * Saves @p picture in the folder @p directory, which is made when needed; the file is named after
 * the application and the local time, as QVorlinApplication does. The log tells the file, or why
 * there is none. QVorlinApplication's own would see nothing in a window that OpenGL paints.
 */
void saveScreenshot(QImage const& picture, QString const& directory);

#endif
