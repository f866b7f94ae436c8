#include "childprogram.h"

#include <csignal>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>

namespace {

// Time for a program to do what it was asked for on a machine with other work.
constexpr int Patience = 20000; // ms

} // namespace

ChildProgram::ChildProgram(
    QString const& name, QStringList const& arguments, QProcessEnvironment const& environment)
{
    mProcess.setProcessEnvironment(environment);
    mProcess.start(QCoreApplication::applicationDirPath() + QLatin1Char('/') + name, arguments);
    mProcess.waitForStarted(Patience);
}

void ChildProgram::kill()
{
    mProcess.kill();
    mProcess.waitForFinished(Patience);
}

void ChildProgram::sendSignal(int signal)
{
    ::kill(pid_t(mProcess.processId()), signal);
}

int ChildProgram::exitStatus()
{
    bool const ended =
        mProcess.state() == QProcess::NotRunning || mProcess.waitForFinished(Patience);
    return ended && mProcess.exitStatus() == QProcess::NormalExit ? mProcess.exitCode() : -1;
}

bool ChildProgram::waitForLine(QByteArray const& wanted)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < Patience) {
        if (!mProcess.canReadLine() && !mProcess.waitForReadyRead(100))
            continue;
        while (mProcess.canReadLine()) {
            if (mProcess.readLine() == wanted + '\n')
                return true;
        }
    }
    return false;
}

QJsonObject readJson(QString const& file)
{
    QFile json(file);
    return json.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(json.readAll()).object()
                                          : QJsonObject();
}

double shareOf(QImage const& image, QRect const& part, QRgb colour)
{
    QRect const pixels = part & image.rect();
    int count = 0;
    for (int y = pixels.top(); y <= pixels.bottom(); ++y) {
        for (int x = pixels.left(); x <= pixels.right(); ++x)
            count += (image.pixel(x, y) | 0xff000000) == colour;
    }
    return pixels.isEmpty() ? -1 : double(count) / (pixels.width() * pixels.height());
}
