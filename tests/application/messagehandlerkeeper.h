#ifndef MESSAGEHANDLERKEEPER_H
#define MESSAGEHANDLERKEEPER_H

#include <QtGlobal>

/** Puts the message handler of now back when it goes. */
class MessageHandlerKeeper
{
public:
    MessageHandlerKeeper()
        : mHandler(qInstallMessageHandler(nullptr))
    {
        qInstallMessageHandler(mHandler);
    }
    ~MessageHandlerKeeper() { qInstallMessageHandler(mHandler); }
    Q_DISABLE_COPY(MessageHandlerKeeper)

private:
    QtMessageHandler mHandler;
};

#endif
