// A board's outputs map of any content. The input's first line names the output that is asked for,
// the rest is the file.

#include <cstdlib>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include <QByteArray>

#include "extdisplay/extdisplay.h"

namespace {

/** The file that the map is read from, named in the environment. */
int mapFile()
{
    static int const descriptor = [] {
        int const made = memfd_create("outputs.json", MFD_CLOEXEC);
        std::string const path = "/proc/self/fd/" + std::to_string(made);
        if (made < 0 || setenv("EXTDISPLAY_OUTPUTS_CONFIG", path.c_str(), 1) != 0)
            std::abort();
        return made;
    }();
    return descriptor;
}

/** Nothing but a key of the map, or an entry as empty as it comes. */
bool isPlausible(extdisplay::BoardOutputInfo const& info, QString const& output)
{
    if (!info.output.isEmpty())
        return info.output == output;
    bool const isUnnamedOutput = output.isEmpty();
    return isUnnamedOutput || (info.name.isEmpty() && info.qtConnectors.isEmpty() &&
                                  info.crtcMask == 0 && info.audio.isEmpty() && !info.fixedModes);
}

} // namespace

/** Qt 5.15's JSON parser forgets to free an object or array that a later one of its key replaces.
 */
extern "C" char const* __lsan_default_suppressions()
{
    return "leak:libQt5Core\n";
}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    QByteArray const input =
        QByteArray::fromRawData(reinterpret_cast<char const*>(data), int(size));
    int const line = input.indexOf('\n');
    QString const output = QString::fromUtf8(input.left(line));
    QByteArray const map = input.mid(line + 1);

    int const file = mapFile();
    if (ftruncate(file, 0) != 0 ||
        pwrite(file, map.constData(), size_t(map.size()), 0) != map.size())
        std::abort();
    if (!isPlausible(extdisplay::getOutputConnectorInfo(output), output))
        std::abort();
    return 0;
}
