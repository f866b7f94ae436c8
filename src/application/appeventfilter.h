#ifndef APPEVENTFILTER_H
#define APPEVENTFILTER_H

#include <QObject>

#include "qvorlinexport.h"

class QVorlinApplication;

/**
 * Shows every event of the GUI thread to the application before its receiver gets it.
 *
 * The application makes its own filter and owns it. Thread-bound to the GUI thread.
 */
class QVORLIN_EXPORT AppEventFilter : public QObject
{
    Q_OBJECT

public:
    /** @param application owns the filter; must not be null */
    explicit AppEventFilter(QVorlinApplication* application);
    ~AppEventFilter() override;

    /** Holds the event back when QVorlinApplication::handleEvent() says so. */
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QVorlinApplication* mApplication;
};

#endif
