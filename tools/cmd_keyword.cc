// cmd_keyword.cc - velnor keyword: make a keyword index, add words to it
// (given, or every word of a text file's lines), find the values of a word
// and the words of a value, and remove a value.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "commands.h"
#include "libinternal.h"
#include "progress.h"

namespace vtool {

namespace {

// The keyword file's definition: words of up to 40 characters, key 1 on
// them, and the head of each word's chain in the posting file.
const char* const kKeywordDefinition =
    "TKF FID v7.0\nRecLen=45\nNItems=2\nNKeys=1\nFlags=0\n"
    "Item=KEYWORD,'C','L',0,40,1,0,\nItem=POSN,'C','L',40,5,1,1,\nKey=KEYWORD,40,1\n0,40,0\n";

// The four files of index NAME: NAME.kwd (keyword file) with its
// definition NAME.kwf and index NAME.kwx, and the posting file NAME.kwp.
struct KeywordNames {
    std::string keywords, fid, idx, posting;
    explicit KeywordNames(const std::string& index)
        : keywords(derivedname(index, ".kwd")), fid(derivedname(index, ".kwf")),
          idx(derivedname(index, ".kwx")), posting(derivedname(index, ".kwp")) {}
};

void setname(char (&field)[261], const std::string& name) {
    if (name.size() >= sizeof field) fail(name, "file name too long", EXIT_USAGE);
    std::memcpy(field, name.c_str(), name.size() + 1);
}

// One open keyword index; failures are reported against the file they
// concern and thrown.
class KeywordIndex {
public:
    // How a run uses the index: to change it, only to read it, or to make it
    // new (its keywords file already made empty, so that it can be held).
    enum class Use { Change, Read, Create };

    KeywordIndex(const std::string& index, const std::string& network, Use use = Use::Change)
        : names_(index) {
        const bool create = use == Use::Create;
        std::error_code ec;
        if (!create) {
            for (const std::string& f : {names_.keywords, names_.fid, names_.posting})
                if (!std::filesystem::exists(f, ec))
                    fail(f, "no such file (make the index with: velnor keyword create " + index +
                                ")");
        }
        // The posting file has no record lock of its own for a writer
        // without the engine's locks: hold all four files for the run.
        const bool unshared = !takeslocks(network);
        const std::string hint = unshared ? " (use --network MSNET to share it)" : " that holds it unshared";
        if (create)
            holds_.hold(names_.keywords, OS_HOLD_ALONE, hint);
        else
            for (const std::string& f : {names_.keywords, names_.idx, names_.posting})
                holds_.hold(f, holdkind(unshared, use == Use::Read), hint);
        setname(cb_.datname, names_.keywords);
        setname(cb_.fidname, names_.fid);
        setname(cb_.idxname, names_.idx);
        if (fhhypinit(&cb_, names_.posting.c_str(), 1, create ? 1 : 0) != 0) {
            const int status = cb_.status;
            if (cb_.recbuf != nullptr) vfhclose(&cb_);
            report(status);
        }
        open_ = true;
        std::snprintf(cb_.work, 257, "%s", network.c_str());
        cb_.opcode = VN_OP_NETTYPE;
        if (filehandler(&cb_) != 0) {
            close();
            fail(network, "unknown network type", EXIT_USAGE);
        }
    }
    ~KeywordIndex() { close(); }
    KeywordIndex(const KeywordIndex&) = delete;
    KeywordIndex& operator=(const KeywordIndex&) = delete;

    FHCB* cb() { return &cb_; }
    void close() {
        if (open_) fhhypinit(&cb_, names_.posting.c_str(), 0, 0);
        open_ = false;
    }
    // Reports the block's status and throws.
    [[noreturn]] void fail_status() { report(cb_.status); }

private:
    [[noreturn]] void report(int status) {
        if (status == VN_E_HYPOPEN) fail(names_.posting, "not a posting file, or it cannot be made");
        if (status == VN_E_HYPREAD) fail(names_.posting, "damaged: a chain of values cannot be read");
        if (status == VN_E_HYPWRITE) fail(names_.posting, "cannot write a node");
        std::string file = names_.keywords;
        if (status >= 6 && status <= 8) file = names_.fid;
        if (status >= 21 && status <= 30) file = names_.idx;
        fail(file, statustext(status) + " (status " + std::to_string(status) + ")");
    }
    KeywordNames names_;
    Holds holds_;
    FHCB cb_{};
    bool open_ = false;
};

std::string trimmed(std::string s) {
    s.erase(s.find_last_not_of(' ') + 1);
    return s;
}

// The words that hold value and begin with prefix (folded to lower case),
// in the order the listing gives them.
std::vector<std::string> wordsholding(KeywordIndex& ix, uint32_t value, std::string prefix) {
    for (char& c : prefix) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    std::vector<std::string> words;
    // Each call lists the words of one first character.
    for (int c = 1; c < 256; c++) {
        if (!prefix.empty() && c != static_cast<unsigned char>(prefix[0])) continue;
        // The listing starts at its prefix followed by blanks, and a word
        // that goes on with a byte above 0x7F sorts below the blank: pad
        // with the lowest byte instead, so that every word is listed.
        std::string start = prefix.empty() ? std::string(1, static_cast<char>(c)) : prefix;
        start.resize(std::max<size_t>(start.size(), 255), '\x80');
        uint32_t size = 0;
        char* text = fhhyplist(ix.cb(), value, start.c_str(), nullptr, &size);
        vfhrunlock(ix.cb());
        if (text == nullptr) ix.fail_status();
        for (char* line = std::strtok(text, "\r\n"); line; line = std::strtok(nullptr, "\r\n")) {
            std::string w = trimmed(line);
            if (w.compare(0, prefix.size(), prefix) == 0) words.push_back(w);
        }
        globalmfree(text);
    }
    return words;
}

}  // namespace

void runkwlist(const KeywordOptions& opt, std::FILE* out) {
    KeywordIndex ix(opt.index, opt.network, KeywordIndex::Use::Read);
    const std::vector<std::string> words = wordsholding(ix, opt.value, opt.prefix);
    for (const std::string& w : words) std::fprintf(out, "%s\n", w.c_str());
    ix.close();
    if (words.empty()) fail(opt.index, "no word holds the value " + std::to_string(opt.value));
}

void runkwadd(const KeywordOptions& opt, std::FILE* out) {
    KeywordIndex ix(opt.index, opt.network);
    for (const std::string& w : opt.words) {
        std::vector<char> buf(w.begin(), w.end());
        buf.push_back('\0');
        if (fhhypaddword(ix.cb(), buf.data(), opt.value) != 0) ix.fail_status();
    }
    ix.close();
    std::fprintf(out, "Added %zu word%s under %u.\n", opt.words.size(),
                 opt.words.size() == 1 ? "" : "s", opt.value);
}

void runkwremove(const KeywordOptions& opt, std::FILE* out) {
    KeywordIndex ix(opt.index, opt.network);
    const size_t held = wordsholding(ix, opt.value, "").size();
    if (held == 0) {
        ix.close();
        fail(opt.index, "no word holds the value " + std::to_string(opt.value) + "; nothing was removed");
    }
    if (fhhypdelete(ix.cb(), opt.value) != 0) ix.fail_status();
    ix.close();
    std::fprintf(out, "Removed %u from %s.\n", opt.value, counted(static_cast<long>(held), "word").c_str());
}

void runkwcreate(const std::string& index, std::FILE* out) {
    const KeywordNames names(index);
    std::error_code ec;
    if (std::filesystem::exists(names.posting, ec)) fail(names.posting, "already exists; delete it first");
    // The keywords file is made first, and only if it is not there, so that
    // of two runs making one index the second stops here.
    std::FILE* made = std::fopen(names.keywords.c_str(), "wbx");
    if (made == nullptr)
        fail(names.keywords, errno == EEXIST ? "already exists; delete it first" : std::strerror(errno));
    std::fclose(made);
    try {
        std::ofstream(names.fid, std::ios::binary) << kKeywordDefinition;
        if (!std::filesystem::exists(names.fid, ec)) fail(names.fid, "cannot write");
        KeywordIndex ix(index, "SINGLE", KeywordIndex::Use::Create);
        ix.close();
    } catch (const Failure&) {
        if (std::filesystem::file_size(names.keywords, ec) == 0) std::filesystem::remove(names.keywords, ec);
        throw;
    }
    std::fprintf(out, "Made the keyword index %s: %s, %s, %s and %s.\n", index.c_str(),
                 names.keywords.c_str(), names.fid.c_str(), names.idx.c_str(),
                 names.posting.c_str());
}

long runkwaddlines(const KeywordOptions& opt, std::FILE* out) {
    const std::string& textfile = opt.textfile;
    std::ifstream in(textfile, std::ios::binary);
    if (!in) fail(textfile, std::strerror(errno));
    std::error_code ec;
    const uint64_t total = std::filesystem::file_size(textfile, ec);
    KeywordIndex ix(opt.index, opt.network);
    ProgressBar bar("Indexing " + textfile);
    std::string line;
    uint32_t n = 0;
    uint64_t done = 0;
    while (std::getline(in, line)) {
        n++;
        done += line.size() + 1;
        if (fhhypaddline(ix.cb(), line.c_str(), opt.onevalue ? opt.value : n, opt.flags) != 0)
            ix.fail_status();
        if ((n & 255) == 0) bar.update(done, total);
    }
    bar.finish();
    ix.close();
    std::fprintf(out, "Indexed %u line%s of %s.\n", n, n == 1 ? "" : "s", textfile.c_str());
    return n;
}

std::vector<uint32_t> runkwsearch(const KeywordOptions& opt, std::FILE* out) {
    KeywordIndex ix(opt.index, opt.network, KeywordIndex::Use::Read);
    uint32_t count = 0;
    uint32_t* found = fhhypsearch(ix.cb(), opt.word.c_str(), &count);
    if (found == nullptr && ix.cb()->status == VN_E_HYPREAD) ix.fail_status();
    std::vector<uint32_t> values(found, found + count);
    globalmfree(found);
    ix.close();
    if (opt.json) {
        std::fprintf(out, "[");
        for (size_t i = 0; i < values.size(); i++) std::fprintf(out, "%s%u", i ? ", " : "", values[i]);
        std::fprintf(out, "]\n");
    } else {
        for (uint32_t v : values) std::fprintf(out, "%u\n", v);
    }
    if (values.empty()) fail(opt.index, "'" + opt.word + "' is not in the index");
    return values;
}

}  // namespace vtool
