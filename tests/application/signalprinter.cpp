// A program that prints the Unix signals it gets, one a line, until its standard input ends.

#include <cstdio>

#include <unistd.h>

#include <QSocketNotifier>
#include <QThread>

#include "application/qvorlinapplication.h"

int main(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QVorlinApplication app(argc, argv);
    auto const print = [&app](char const* name) {
        bool const isGuiThread = QThread::currentThread() == app.thread();
        std::printf("%s%s\n", name, isGuiThread ? "" : " in another thread");
        std::fflush(stdout);
    };
    QObject::connect(&app, &QVorlinApplication::signalTERM, [print] { print("TERM"); });
    QObject::connect(&app, &QVorlinApplication::signalHUP, [print] { print("HUP"); });
    QObject::connect(&app, &QVorlinApplication::signalINT, [print] { print("INT"); });
    QObject::connect(&app, &QVorlinApplication::signalUSR1, [print] { print("USR1"); });
    QObject::connect(&app, &QVorlinApplication::signalUSR2, [print] { print("USR2"); });

    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &app, &QCoreApplication::quit);
    print("ready");
    return app.exec();
}
