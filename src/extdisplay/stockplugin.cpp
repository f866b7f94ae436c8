#include "extdisplay/stockplugin.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QStringList>

namespace extdisplay {

static constexpr char const* variable = "QT_QPA_EGLFS_KMS_CONFIG";

static bool isLit(QJsonObject const& output)
{
    static QStringList const darkModes{
        QStringLiteral("ignore"), QStringLiteral("off"), QStringLiteral("skip")};
    return !output[QLatin1String("name")].toString().isEmpty() &&
           !darkModes.contains(output[QLatin1String("mode")].toString());
}

/** What Qt as published calls that connector: it has names for two types more. */
static QStringList stockNames(QString const& name)
{
    QLatin1String const unknown("UNKNOWN");
    if (!name.startsWith(unknown))
        return {name};
    QString const number = name.mid(unknown.size());
    return {QLatin1String("Virtual") + number, QLatin1String("DSI") + number, name};
}

/** The same outputs in the words of Qt as published; empty when none would be lit. */
static QJsonArray adaptOutputs(QJsonArray const& outputs)
{
    QSet<QString> lit;
    for (QJsonValue const element : outputs) {
        QJsonObject const output = element.toObject();
        if (isLit(output))
            lit.insert(output[QLatin1String("name")].toString());
    }

    QJsonArray adapted;
    for (QJsonValue const element : outputs) {
        QJsonObject output = element.toObject();
        QString const name = output.value(QLatin1String("name")).toString();
        // Two connectors can have one name, and the word for the second would hold for both.
        if (!isLit(output) && lit.contains(name))
            continue;
        output.remove(QLatin1String("crtcmask"));
        if (output.value(QLatin1String("mode")) == QLatin1String("ignore"))
            output[QLatin1String("mode")] = QStringLiteral("skip");
        for (QString const& stockName : stockNames(name)) {
            output[QLatin1String("name")] = stockName;
            adapted.append(output);
        }
    }
    return lit.isEmpty() ? QJsonArray() : adapted;
}

static bool writeAll(int descriptor, QByteArray const& content)
{
    for (qsizetype done = 0; done < content.size();) {
        ssize_t const written =
            write(descriptor, content.constData() + done, size_t(content.size() - done));
        if (written > 0)
            done += written;
        else if (written == 0 || errno != EINTR)
            return false;
    }
    return true;
}

/** A file in memory that nobody can alter any more; -1 when it can't be made. */
static int makeSealedFile(QByteArray const& content)
{
    int const descriptor = memfd_create("eglfs-kms-config", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (descriptor < 0)
        return -1;
    int const seals = F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;
    if (writeAll(descriptor, content) && fcntl(descriptor, F_ADD_SEALS, seals) == 0)
        return descriptor;
    close(descriptor);
    return -1;
}

bool adaptConfigForStockPlugin()
{
    QJsonObject config = QJsonDocument::fromJson(qgetenv(variable)).object();
    if (config.isEmpty())
        return false;
    // Without a list all connected outputs are lit, so that one remains.
    QJsonArray const outputs = config.value(QLatin1String("outputs")).toArray();
    if (!outputs.isEmpty()) {
        QJsonArray const adapted = adaptOutputs(outputs);
        if (adapted.isEmpty())
            return false;
        config[QLatin1String("outputs")] = adapted;
    }

    int const file = makeSealedFile(QJsonDocument(config).toJson(QJsonDocument::Compact));
    if (file < 0)
        return false;
    // From here on the file stays open: the platform reads it by this name, whenever it starts.
    if (qputenv(variable, "/proc/self/fd/" + QByteArray::number(file)))
        return true;
    close(file);
    return false;
}

} // namespace extdisplay
