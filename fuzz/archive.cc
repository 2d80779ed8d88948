// archive.cc - fuzz target: the archive walk and the expander.  The input
// replaces an archive that is then listed, extracted into a folder of its
// own, and added to.
#include <filesystem>
#include <string>

#include "fuzz/fuzz.h"

namespace {

int32_t VELNOR_CALL yes(const char*, const char*) { return 1; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace vnfuzz;
    static const bool ready = [] {
        compress_sethooks(nullptr, nullptr, yes);
        put("w.txt", "a short text to add, added again and again\n");
        return true;
    }();
    (void)ready;
    put("a.cmp", data, size);
    const std::string archive = path("a.cmp");
    compress_files("-LQ", archive.c_str(), 0, nullptr);
    const std::string extract = "-XQOT\"" + path("x") + "\"";
    compress_files(extract.c_str(), archive.c_str(), 0, nullptr);
    std::string name = path("w.txt");
    char* names[] = {name.data()};
    compress_files("-AQ", archive.c_str(), 1, names);
    std::error_code ec;
    std::filesystem::remove_all(path("x"), ec);
    return 0;
}
