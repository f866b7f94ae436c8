#ifndef CHILDPROGRAM_H
#define CHILDPROGRAM_H

#include <QImage>
#include <QJsonObject>
#include <QProcess>

/** A program of this build; killed in the end. */
class ChildProgram
{
public:
    ChildProgram(QString const& name, QStringList const& arguments,
        QProcessEnvironment const& environment = QProcessEnvironment::systemEnvironment());
    ~ChildProgram() { kill(); }
    Q_DISABLE_COPY(ChildProgram)

    void kill();
    void sendSignal(int signal);

    /** The exit status, or -1 when a signal ended it. */
    int exitStatus();

    /** Reads lines of its output until one is @p wanted. */
    bool waitForLine(QByteArray const& wanted);

    QByteArray output() { return mProcess.readAllStandardOutput(); }
    QByteArray errors() { return mProcess.readAllStandardError(); }

private:
    QProcess mProcess;
};

/** What a program wrote; empty when it is none. */
QJsonObject readJson(QString const& file);

/** How many of the pixels of @p part are @p colour, from 0 to 1; -1 without pixels. */
double shareOf(QImage const& image, QRect const& part, QRgb colour);

#endif
