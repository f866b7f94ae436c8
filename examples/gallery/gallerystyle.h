#ifndef GALLERYSTYLE_H
#define GALLERYSTYLE_H

#include <QColor>
#include <QString>

class QLabel;
class QWidget;

/** How the window looks: the colours are those of the viewer. */
namespace gallerystyle {

/** The window's own, and that of what is behind pictures. */
constexpr QRgb Background = qRgb(13, 17, 23);

/** The style sheet of a window @p scale times as large as usual. */
QString sheet(double scale);

/** A label that looks as the style sheet has it for @p role. */
QLabel* makeLabel(char const* role, QString const& text, QWidget* parent);

} // namespace gallerystyle

#endif
