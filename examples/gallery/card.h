#ifndef CARD_H
#define CARD_H

#include <functional>

#include <QFrame>
#include <QVector>

class Figure;
class QBoxLayout;
class QHBoxLayout;
class QLabel;
class QVBoxLayout;
class StateButton;

/** A widget of the library on show: its name, what it is set to, and a button that changes that. */
class Card : public QFrame
{
    Q_OBJECT

public:
    Card(char const* name, QWidget* parent);

    /** What the widget is set to. */
    QString state() const;

    /** Makes everything so many times as large as usual. */
    virtual void setScale(double scale);

protected:
    struct Action
    {
        char const* name;
        std::function<void()> act;
    };

    void setState(QString const& state);

    /** Adds a button at the upper edge that does one thing when tapped and another when held. */
    void addButton(Action const& tap, Action const& hold);

    /** Where what is on show goes. */
    QVBoxLayout& body() { return *mBody; }

    /** Adds a line of figures to the body. */
    QVector<Figure*> addFigures(std::initializer_list<char const*> captions);

private:
    QVBoxLayout* mBody;
    QHBoxLayout* mTop;
    QLabel* mState;
};

#endif
