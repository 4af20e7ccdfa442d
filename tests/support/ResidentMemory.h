#pragma once

#include <cstddef>
#include <fstream>
#include <string>
#include <unistd.h>

namespace quillora::test {

/// In bytes, of this process or the one of that number; 0 if there is none. Needs no toolkit.
inline std::size_t residentBytes(const std::string &process = "self") {
    std::size_t total = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/" + process + "/statm") >> total >> resident;
    return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

} // namespace quillora::test
