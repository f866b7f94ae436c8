#ifndef MESSAGECHECK_H
#define MESSAGECHECK_H

#include <QTest>

/**
 * Announces one Qt message of exactly this text. Every warning or critical message that was not
 * announced, and every announced one that did not come, fails the test program; use this and not
 * QTest::ignoreMessage(), which can't tell the two apart. May be called from any thread.
 */
void expectMessage(QtMsgType type, QString const& text);

/** Runs the test functions of @p test under that rule; @return the number of failures. */
int runCheckingMessages(QObject* test, int argc, char** argv);

/**
 * The main function of a test program: @p Application is QCoreApplication, QGuiApplication or
 * QApplication.
 */
#define QVORLIN_TEST_MAIN(Application, TestClass)                                                  \
    int main(int argc, char* argv[])                                                               \
    {                                                                                              \
        Application app(argc, argv);                                                               \
        TestClass test;                                                                            \
        return runCheckingMessages(&test, argc, argv);                                             \
    }

#endif
