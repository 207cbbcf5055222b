#include "demo/ProgramLog.h"

#include "demo/Waiting.h"

#include <fstream>
#include <iterator>

namespace lentora::demo {

void ProgramLog::awaitLine(const std::string& text) {
    await(
        [&] {
            std::ifstream file(path_, std::ios::binary);
            const std::string all(std::istreambuf_iterator<char>(file), {});
            const std::size_t found = all.find(text, read_);
            if (found == std::string::npos)
                return false;
            read_ = found + text.size();
            return true;
        },
        "lentora did not write \"" + text + "\" into its log");
}

} // namespace lentora::demo
