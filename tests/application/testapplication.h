#ifndef TESTAPPLICATION_H
#define TESTAPPLICATION_H

#include "application/qvorlinapplication.h"
#include "messagehandlerkeeper.h"

struct TestArguments
{
    MessageHandlerKeeper keeper;
    int argc = 1;
    char name[8] = "program";
    char* argv[2] = {name, nullptr};
};

/**
 * An application object named "program", for as long as a test function runs. The message handler
 * that it may install goes with it.
 */
class TestApplication : private TestArguments, public QVorlinApplication
{
public:
    TestApplication()
        : QVorlinApplication(argc, argv)
    {}
};

/** Leaves it to the test functions to make their application objects, which need no display. */
#define QVORLIN_APPLICATION_TEST_MAIN(TestClass)                                                   \
    int main(int argc, char* argv[])                                                               \
    {                                                                                              \
        qputenv("QT_QPA_PLATFORM", "offscreen");                                                   \
        TestClass test;                                                                            \
        return runCheckingMessages(&test, argc, argv);                                             \
    }

#endif
