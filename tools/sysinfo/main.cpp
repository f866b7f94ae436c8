#include "failure.h"
#include "options.h"
#include "output.h"

int main(int argc, char* argv[])
{
    constexpr int ExitFailed = 1;
    constexpr int ExitUsage = 2;
    try {
        CommandLine const line = parseCommandLine({argv + 1, argv + argc});
        if (line.command)
            line.command->run(line.operands);
        else
            put(line.text);
        return 0;
    } catch (Refusal const& refusal) {
        complain(std::string(refusal.what()) + "; see sysinfo --help");
        return ExitUsage;
    } catch (std::exception const& failure) {
        complain(failure.what());
        return ExitFailed;
    }
}
