#ifndef STREAMADDRESS_H
#define STREAMADDRESS_H

#include <QString>

/** What a QR code says of a stream: @p given, or when that is empty "stream:" and its name. */
QString streamAddress(QString const& given, QString const& streamName);

#endif
