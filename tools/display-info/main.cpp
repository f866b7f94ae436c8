#include "board.h"
#include "card.h"
#include "options.h"
#include "report.h"

#include <cerrno>
#include <cstdio>

#include <QCoreApplication>

namespace {

constexpr int ExitFailed = 1;
constexpr int ExitUsage = 2;

void complain(QString const& what)
{
    std::fprintf(stderr, "display-info: %s\n", printable(what).toLocal8Bit().constData());
}

bool write(QByteArray const& text)
{
    std::fwrite(text.constData(), 1, size_t(text.size()), stdout);
    if (std::fflush(stdout) == 0 && !std::ferror(stdout))
        return true;
    complain(QStringLiteral("can't write: %1").arg(qt_error_string(errno)));
    return false;
}

/** What keeps the user from getting what was asked for; empty: nothing does. */
QString complaintAbout(Board const& board, Options const& options)
{
    if (!board.fault.isEmpty() || options.output.isEmpty())
        return board.fault;
    QString const obstacle = board.selections.first().obstacle;
    return obstacle.isEmpty()
               ? obstacle
               : QStringLiteral("output '%1' selects nothing: %2").arg(options.output, obstacle);
}

int report(Options const& options)
{
    Card const card = readCard();
    if (!card.fault.isEmpty()) {
        complain(card.fault);
        return ExitFailed;
    }
    Board const board = readBoard(card, options);
    if (!write(options.json ? jsonReport(card, board) : textReport(card, board).toLocal8Bit()))
        return ExitFailed;
    QString const complaint = complaintAbout(board, options);
    if (complaint.isEmpty())
        return 0;
    complain(complaint);
    return ExitFailed;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationVersion(QStringLiteral(DISPLAY_INFO_VERSION));
    CommandLine const line = parseCommandLine(QCoreApplication::arguments());
    switch (line.action) {
    case CommandLine::Action::Print:
        return write(line.text.toLocal8Bit()) ? 0 : ExitFailed;
    case CommandLine::Action::Refuse:
        complain(line.text + QLatin1String("; see display-info --help"));
        return ExitUsage;
    case CommandLine::Action::Run:
        break;
    }
    return report(line.options);
}
