#include "streamaddress.h"

#include <QUrl>

QString streamAddress(QString const& given, QString const& streamName)
{
    if (!given.isEmpty())
        return given;
    return QStringLiteral("stream:") + QString::fromLatin1(QUrl::toPercentEncoding(streamName));
}

TakeValue takeAddress(QString& address)
{
    return [&address](QString const& text) {
        address = text;
        return !text.isEmpty() && text.toUtf8().size() <= MaxAddressBytes;
    };
}
