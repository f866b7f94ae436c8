#ifndef TERMINATIONSIGNALS_H
#define TERMINATIONSIGNALS_H

#include <QObject>

class QSocketNotifier;

/**
 * Turns SIGINT and SIGTERM into a Qt signal for as long as it lives. There can be one at a time.
 */
class TerminationSignals : public QObject
{
    Q_OBJECT

public:
    explicit TerminationSignals(QObject* parent = nullptr);
    ~TerminationSignals() override;

Q_SIGNALS:
    void received();

private:
    void onReadable();

    QSocketNotifier* mNotifier;
};

#endif
