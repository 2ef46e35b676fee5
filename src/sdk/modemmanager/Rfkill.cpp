#include "Rfkill.h"

#include <dirent.h>

#include <fstream>
#include <memory>

namespace utps::mm {

namespace {

std::string firstLine(const std::string& path)
{
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

} // namespace

int wwanHardwareRadio(const std::string& classDir)
{
    std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(classDir.c_str()), &::closedir);
    if (!dir)
        return 1;
    while (const dirent* entry = ::readdir(dir.get())) {
        const std::string name = entry->d_name;
        if (name.rfind("rfkill", 0) != 0)
            continue;
        const std::string base = classDir + "/" + name;
        if (firstLine(base + "/type") == "wwan" && firstLine(base + "/hard") == "1")
            return 0;
    }
    return 1;
}

} // namespace utps::mm
