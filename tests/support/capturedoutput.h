#ifndef CAPTUREDOUTPUT_H
#define CAPTUREDOUTPUT_H

#include <QByteArray>
#include <QTemporaryFile>

/** Sends what is written to a file descriptor (1 or 2) into a file for as long as it lives. */
class CapturedOutput
{
public:
    explicit CapturedOutput(int fd);
    ~CapturedOutput();
    CapturedOutput(CapturedOutput const&) = delete;
    CapturedOutput& operator=(CapturedOutput const&) = delete;

    /** All that was written up to now. */
    QByteArray text();

private:
    int mFd;
    int mSaved;
    QTemporaryFile mFile;
};

#endif
