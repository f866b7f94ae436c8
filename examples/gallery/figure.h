#ifndef FIGURE_H
#define FIGURE_H

#include <QWidget>

class QLabel;

/** A live value below its caption. A dash stands for none. */
class Figure : public QWidget
{
    Q_OBJECT

public:
    Figure(char const* caption, QWidget* parent);

    void setValue(QString const& value);
    QString value() const;

private:
    QLabel* mValue;
};

#endif
