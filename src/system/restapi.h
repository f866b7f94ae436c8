#ifndef RESTAPI_H
#define RESTAPI_H

#include <QMap>
#include <QString>
#include <QVariant>

#include "qvorlinexport.h"

/**
 * The appliance's REST interface, reached through its program "rest_api", which is looked for on
 * the PATH. Each function makes one request and returns its answer:
 *
 * | the answer                                          | the result            |
 * |-----------------------------------------------------|-----------------------|
 * | none, or the program ended with another code than 0 | invalid               |
 * | a JSON object, from its first byte to its last      | QJsonObject           |
 * | a JSON array, likewise                              | QJsonArray            |
 * | a PNG or JPEG image                                 | QImage                |
 * | begins as such an image but can't be decoded        | QByteArray, all of it |
 * | anything else, as UTF-8 up to the first NUL         | QString               |
 *
 * JSON with a newline behind it, or any other white space around it, is text, and so is what only
 * begins and ends like JSON.
 *
 * Parameters are sent as "key=value" in the order of their keys. A value that is or converts to a
 * QSize is written as "1920x1080", any other as its QVariant::toString() has it, which is empty for
 * an invalid value or one without a text.
 *
 * @code
 * QVariant const answer = restAPI::get(QStringLiteral("/channels/1/preview"),
 *     {{QStringLiteral("resolution"), QSize(640, 360)}});
 * if (answer.userType() == QMetaType::QImage)
 *     show(answer.value<QImage>());
 * @endcode
 *
 * Each call blocks its thread for up to 30 s until the program has started and 30 s more until it
 * has ended; a program that still runs then is killed, and what it wrote so far is the answer.
 * Nothing is logged, but Qt itself may warn of a broken image. Thread-safe; needs no event loop.
 */
namespace restAPI {

/** Sends a GET request for @p path. */
QVORLIN_EXPORT QVariant get(QString path, QMap<QString, QVariant> const& params);

/** Sends a POST request for @p path. */
QVORLIN_EXPORT QVariant post(QString path, QMap<QString, QVariant> const& params);

/** Sends a PUT request for @p path. */
QVORLIN_EXPORT QVariant put(QString path, QMap<QString, QVariant> const& params);

/** Sends a DELETE request for @p path. */
QVORLIN_EXPORT QVariant del(QString path, QMap<QString, QVariant> const& params);

} // namespace restAPI

#endif
