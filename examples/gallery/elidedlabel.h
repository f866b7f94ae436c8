#ifndef ELIDEDLABEL_H
#define ELIDEDLABEL_H

#include <QLabel>

/** A line of text that takes the room there is, and is cut where it needs more. */
class ElidedLabel : public QLabel
{
    Q_OBJECT

public:
    /** Looks as the style sheet has it for @p role. */
    ElidedLabel(char const* role, QWidget* parent);

protected:
    void paintEvent(QPaintEvent* event) override;
};

#endif
