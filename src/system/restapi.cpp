#include "system/restapi.h"

#include <utility>

#include <QByteArray>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSize>
#include <QStringList>

#include "system/processrun.h"

namespace restAPI {

namespace {

QString parameterText(QVariant const& value)
{
    if (!value.canConvert<QSize>())
        return value.toString();
    QSize const size = value.value<QSize>();
    return QStringLiteral("%1x%2").arg(size.width()).arg(size.height());
}

bool looksLikeJson(QByteArray const& body)
{
    return (body.startsWith('{') && body.endsWith('}')) ||
           (body.startsWith('[') && body.endsWith(']'));
}

bool looksLikeImage(QByteArray const& body)
{
    static QByteArray const jpegSignature = QByteArrayLiteral("\xFF\xD8\xFF");
    static QByteArray const pngSignature = QByteArrayLiteral("\x89PNG\r\n\x1A\n");
    return body.startsWith(jpegSignature) || body.startsWith(pngSignature);
}

QVariant parseBody(QByteArray const& body)
{
    if (looksLikeJson(body)) {
        QJsonDocument const document = QJsonDocument::fromJson(body);
        if (document.isObject())
            return document.object();
        if (document.isArray())
            return document.array();
    }
    if (looksLikeImage(body)) {
        QImage const image = QImage::fromData(body);
        return image.isNull() ? QVariant(body) : QVariant(image);
    }
    // As a C string, so that a NUL ends it.
    return QString::fromUtf8(body.constData());
}

QVariant call(QString method, QString path, QMap<QString, QVariant> const& params)
{
    QStringList arguments{std::move(method), std::move(path)};
    for (auto param = params.begin(); param != params.end(); ++param)
        arguments << param.key() + QLatin1Char('=') + parameterText(param.value());

    QProcess process;
    runProcess(process, QStringLiteral("rest_api"), arguments);
    if (process.exitCode() != 0)
        return QVariant();
    QByteArray const body = process.readAllStandardOutput();
    return body.isNull() ? QVariant() : parseBody(body);
}

} // namespace

QVariant get(QString path, QMap<QString, QVariant> const& params)
{
    return call(QStringLiteral("GET"), std::move(path), params);
}

QVariant post(QString path, QMap<QString, QVariant> const& params)
{
    return call(QStringLiteral("POST"), std::move(path), params);
}

QVariant put(QString path, QMap<QString, QVariant> const& params)
{
    return call(QStringLiteral("PUT"), std::move(path), params);
}

QVariant del(QString path, QMap<QString, QVariant> const& params)
{
    return call(QStringLiteral("DELETE"), std::move(path), params);
}

} // namespace restAPI
