#ifndef STREAMADDRESS_H
#define STREAMADDRESS_H

#include <QString>

#include "commandline.h"

/** Of UTF-8; the QR codes of longer addresses could not be read. */
constexpr int MaxAddressBytes = 300;

/** What a QR code says of a stream: @p given, or when that is empty "stream:" and its name. */
QString streamAddress(QString const& given, QString const& streamName);

/** Takes an address of up to MaxAddressBytes, but not none. */
TakeValue takeAddress(QString& address);

#endif
