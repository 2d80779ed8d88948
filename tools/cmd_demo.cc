// cmd_demo.cc - velnor demo: a guided tour that builds a customer file
// from the bundled sample and shows each thing the program does with it.
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "commands.h"
#include "fidtools.h"
#include "sample.h"
#include "walk.h"

namespace fs = std::filesystem;

namespace vtool {

namespace {

const char* const marker = ".velnor-demo";

void step(int n, const char* title) { std::printf("\n== Step %d. %s ==\n\n", n, title); }
void say(const char* text) { std::printf("%s\n", text); }
void command(const std::string& line) { std::printf("\n  $ velnor %s\n\n", line.c_str()); }

// A fresh folder: made, or emptied when an earlier demo made it.
void freshfolder(const std::string& dir) {
    std::error_code ec;
    if (fs::exists(dir, ec)) {
        if (!fs::is_directory(dir, ec)) fail(dir, "exists and is not a folder");
        bool empty = fs::is_empty(dir, ec);
        if (!empty && !fs::exists(fs::path(dir) / marker, ec))
            fail(dir, "exists and was not made by the demo; name another with --dir");
        for (const auto& entry : fs::directory_iterator(dir, ec)) fs::remove_all(entry.path(), ec);
    } else if (!fs::create_directories(dir, ec)) {
        fail(dir, "cannot make the folder: " + ec.message());
    }
    std::ofstream(fs::path(dir) / marker) << "made by velnor demo\n";
}

void writefile(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary);
    out << text;
    if (!out) fail(path, "cannot write");
}

bool samebytes(const std::string& a, const std::string& b) {
    std::ifstream fa(a, std::ios::binary), fb(b, std::ios::binary);
    if (!fa || !fb) return false;
    return std::equal(std::istreambuf_iterator<char>(fa), std::istreambuf_iterator<char>(),
                      std::istreambuf_iterator<char>(fb), std::istreambuf_iterator<char>());
}

const std::vector<std::string> shortitems{"CUSTNO", "LASTNAME", "FIRSTNAME", "CITY", "CREDIT",
                                          "BALANCE"};
const std::string shortlist = "CUSTNO,LASTNAME,FIRSTNAME,CITY,CREDIT,BALANCE";

const RecordTarget customers{"customer.dat", "", "", "SINGLE"};

// The thread's records, shown up to limit, counted to the end.
long showthread(long limit) {
    RecordFile f(customers);
    FHCB* cb = f.cb();
    std::vector<Column> cols = selectcolumns(cb, shortitems, f.path());
    auto w = makewriter(Format::Text, stdout);
    if (limit > 0) w->begin(cols, false);
    long n = 0;
    walkthread(f, 1, [&](bool deleted) {
        if (!deleted && n++ < limit) writerecord(*w, cb, cols, false);
        return true;
    });
    if (limit > 0) w->end();
    if (limit > 0 && n > limit) std::printf("... and %ld more\n", n - limit);
    return n;
}

// The customer number of the newest record in the thread.
std::string threadhead() {
    RecordFile f(customers);
    std::string custno;
    std::vector<Column> cols = selectcolumns(f.cb(), {"CUSTNO"}, f.path());
    walkthread(f, 1, [&](bool) {
        custno = fieldtext(f.cb(), cols[0]);
        custno.erase(0, custno.find_first_not_of(' '));
        return false;
    });
    return custno;
}

// A copy of the customer file with two faults: its header counts one
// record too many, and one record is marked deleted behind the index's back
// (the index still holds its keys).
void damagecopy() {
    for (const char* ext : {".dat", ".idx", ".fid"}) {
        std::error_code ec;
        fs::copy_file(std::string("customer") + ext, std::string("damaged") + ext,
                      fs::copy_options::overwrite_existing, ec);
        if (ec) fail(std::string("damaged") + ext, "cannot copy: " + ec.message());
    }
    std::fstream f("damaged.dat", std::ios::in | std::ios::out | std::ios::binary);
    std::string head(9, ' ');
    f.read(head.data(), 9);
    unsigned long count = std::stoul(head.substr(1), nullptr, 16);
    char hex[9];
    std::snprintf(hex, sizeof hex, "%08lX", count + 1);
    f.seekp(1);
    f.write(hex, 8);
    // The first active record after the header (its length is in bytes 1-4).
    Definition d("damaged.fid");
    long pos = d.cb()->reclen;
    for (char rec[5]; f.seekg(pos), f.read(rec, 5); pos += std::stol(std::string(rec + 1, 4), nullptr, 16)) {
        if (rec[0] == ' ') {
            f.seekp(pos);
            f.put('D');
            break;
        }
    }
    if (!f) fail("damaged.dat", "cannot damage the copy");
}

void maintenancestep() {
    say("damaged.dat is a copy of the customer file with two faults put in on purpose:\n"
        "its header counts one record too many, and one record is marked deleted while\n"
        "the index still holds its keys.  verify reads everything and changes nothing;\n"
        "--continue reports every fault instead of stopping at the first:");
    damagecopy();
    MaintOptions opt;
    opt.operation = "verify";
    opt.file = "damaged.dat";
    opt.cont = true;
    opt.report = "damaged.txt";
    command("verify damaged.dat --continue --report damaged.txt");
    try {
        runmaint(opt, stdout);
    } catch (const Failure&) {
        say("(faults found, as expected: the command ends with exit status 3)");
    }
    std::ifstream in("damaged.txt");
    std::printf("\nThe report, damaged.txt:\n\n");
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        std::printf("  %s\n", line.c_str());
    }
    say("\npack copies the active records into new files (the index rebuilt on the way)\n"
        "and puts them in place of the old ones:");
    command("pack damaged.dat");
    opt.operation = "pack";
    opt.cont = false;
    opt.report.clear();
    runmaint(opt, stdout);
    say("\nAnd the file is sound again:");
    command("verify damaged.dat");
    opt.operation = "verify";
    runmaint(opt, stdout);
}

}  // namespace

void rundemo(const DemoOptions& opt) {
    std::printf("velnor demo: a customer file built, searched, changed and archived, step by "
                "step.\nEverything happens in the folder %s; each step shows the command that "
                "does the same\nfrom a shell.\n",
                opt.dir.c_str());
    freshfolder(opt.dir);
    fs::current_path(opt.dir);
    std::printf("\n  $ cd %s\n", opt.dir.c_str());

    step(1, "The definition");
    say("A record file is described by a definition: its items (fields) with their place\n"
        "and length in the record, its keys, and its threads.  Ours, in text form\n"
        "(customer.txt), has two keys - the customer number and the name - a notes item\n"
        "that makes the records variable in length, and a thread that links every\n"
        "customer whose balance is over the credit limit:\n");
    std::string def = sampledefinition();
    writefile("customer.txt", def);
    std::printf("%s", def.c_str());
    say("\nOnly the binary form of a definition can hold threads, so it is compiled:");
    command("fid compile customer.txt customer.fid");
    compilefid("customer.txt", "customer.fid");
    {
        Definition d("customer.fid");
        printdefinition(stdout, d.cb());
    }

    step(2, "Sample data");
    std::printf("%u generated customers go into customers.csv; the header row names the "
                "items:\n\n",
                opt.count);
    {
        std::FILE* csv = std::fopen("customers.csv", "wb");
        if (csv == nullptr) fail("customers.csv", std::strerror(errno));
        writesamplecsv(csv, opt.count);
        std::fclose(csv);
        std::ifstream in("customers.csv");
        std::string line;
        for (int i = 0; i < 4 && std::getline(in, line); ++i) std::printf("  %s\n", line.c_str());
        std::printf("  ...\n");
    }

    step(3, "Create and load");
    say("--create makes customer.dat and its index customer.idx from customer.fid, then\n"
        "every row becomes a record; the engine links the customers over their limit\n"
        "into the thread as it writes them.");
    command("load customer.dat --csv customers.csv --create");
    runload({customers, "customers.csv", true}, stdout);

    step(4, "What the file holds");
    say("info shows the file's companions, its definition, its type and its counts:");
    command("info customer.dat");
    runinfo(customers, stdout);

    step(5, "Looking up by key 1, the customer number");
    say("A right-justified number may be typed without its leading blanks.");
    std::string first = "10001";
    {
        CustomerGenerator gen;
        for (int i = 0; i < 42; ++i) first = gen.next().custno;
    }
    command("get customer.dat " + first + " --exact --items " + shortlist);
    runget({customers, 1, first, true, Format::Text, shortitems}, stdout);

    // "Coo" shows a prefix search where the sample holds such names; a small
    // sample may have none, and then its first name's start serves.
    std::string prefix = "Coo";
    {
        CustomerGenerator gen;
        std::string firstname;
        bool found = false;
        for (unsigned i = 0; i < opt.count && !found; ++i) {
            std::string last = gen.next().lastname;
            if (i == 0) firstname = last.substr(0, 3);
            found = last.size() >= 3 && std::toupper(static_cast<unsigned char>(last[0])) == 'C' &&
                    std::tolower(static_cast<unsigned char>(last[1])) == 'o' &&
                    std::tolower(static_cast<unsigned char>(last[2])) == 'o';
        }
        if (!found) prefix = firstname;
    }
    step(6, "Looking up by key 2, the name");
    say("Key 2 is LASTNAME followed by FIRSTNAME.  Without --exact, every key that starts\n"
        "with the value matches (letters compare without regard to case):");
    command("get customer.dat --key 2 " + prefix + " --items " + shortlist);
    {
        std::FILE* tmp = std::tmpfile();
        if (tmp == nullptr) fail("temporary file", std::strerror(errno));
        long n = runget({customers, 2, prefix, false, Format::Text, shortitems}, tmp);
        std::rewind(tmp);
        char line[512];
        for (int i = 0; i < 11 && std::fgets(line, sizeof line, tmp); ++i) std::fputs(line, stdout);
        std::fclose(tmp);
        if (n > 10) std::printf("... and %ld more\n", n - 10);
    }

    step(7, "Walking the thread");
    say("The thread holds the customers whose BALANCE is over their CREDIT limit, newest\n"
        "first; each record keeps the position of the next in its OVERLINK item:");
    command("dump customer.dat --thread 1 --items " + shortlist);
    long inthread = showthread(8);
    std::printf("\n%ld customers are over their limit.\n", inthread);

    step(8, "Deleting a record");
    std::string gone = threadhead();
    std::printf("Customer %s heads the thread.  Deleting by primary key marks the record \"D\",\n"
                "takes its keys out of the index and unlinks it from the thread:\n",
                gone.c_str());
    command("delete customer.dat " + gone);
    rundelete(customers, gone, stdout);
    command("get customer.dat " + gone + " --exact");
    try {
        runget({customers, 1, gone, true, Format::Text, shortitems}, stdout);
    } catch (const Failure&) {
        say("(not found, as expected: the command ends with exit status 1)");
    }
    long after = showthread(0);
    std::printf("The thread now holds %ld customers (one fewer).\n", after);
    command("info customer.dat   (last line)");
    {
        RecordFile f(customers);
        long active = 0, deleted = 0;
        walkphysical(f, [&](bool del) {
            ++(del ? deleted : active);
            return true;
        });
        std::printf("Records: %ld active, %ld deleted\n", active, deleted);
    }

    step(9, "Archiving the files");
    say("The archiver compresses files into one .cmp archive (names are kept in lower\n"
        "case, up to 12 characters).  The listing shows sizes, compressed sizes, the\n"
        "saving and each file's check value:");
    command("archive add customer.cmp customer.dat customer.idx customer.fid");
    ArchiveOptions add;
    add.action = "add";
    add.archive = "customer.cmp";
    add.files = {"customer.dat", "customer.idx", "customer.fid"};
    runarchive(add, stdout);
    command("archive list customer.cmp");
    ArchiveOptions list;
    list.action = "list";
    list.archive = "customer.cmp";
    runarchive(list, stdout);

    step(10, "Extracting and comparing");
    say("The files are extracted into restore/, each put in place only once its size\n"
        "and check value match the archive's, and compared byte for byte with the\n"
        "originals:");
    command("archive extract customer.cmp --target restore --overwrite --quiet");
    fs::create_directories("restore");
    ArchiveOptions extract;
    extract.action = "extract";
    extract.archive = "customer.cmp";
    extract.target = "restore";
    extract.overwrite = true;
    extract.quiet = true;
    runarchive(extract, stdout);
    bool allsame = true;
    for (const std::string& name : add.files) {
        bool same = samebytes(name, "restore/" + name);
        allsame = allsame && same;
        std::printf("  %-14s %s\n", name.c_str(), same ? "identical" : "DIFFERENT");
    }
    if (!allsame) fail("restore", "the extracted files differ from the originals");

    step(11, "Checking and repairing a damaged file");
    maintenancestep();
    step(12, "Finding customers by the words of their notes");
    say("A keyword index keeps, for every word, the values it was added under.\n"
        "notes.txt gets the NOTES of each customer of customers.csv, one line each and\n"
        "in the same order, so that a line's number - its value in the index - names\n"
        "the customer:");
    {
        std::ofstream txt("notes.txt", std::ios::binary);
        CustomerGenerator gen;
        for (unsigned i = 0; i < opt.count; ++i) txt << gen.next().notes << "\n";
    }
    KeywordOptions kw;
    kw.index = "notes";
    kw.textfile = "notes.txt";
    command("keyword create notes");
    runkwcreate(kw.index, stdout);
    command("keyword addlines notes notes.txt");
    runkwaddlines(kw, stdout);
    kw.word = "invoice";
    command("keyword search notes invoice");
    std::vector<uint32_t> lines;
    {
        std::FILE* tmp = std::tmpfile();
        if (tmp == nullptr) fail("temporary file", std::strerror(errno));
        lines = runkwsearch(kw, tmp);
        std::fclose(tmp);
    }
    for (size_t i = 0; i < lines.size() && i < 8; ++i) std::printf("%u\n", lines[i]);
    if (lines.size() > 8) std::printf("... and %zu more\n", lines.size() - 8);
    kw.value = lines.front();
    std::printf("\nThe words of line %u, the notes of the customer in row %u of customers.csv:\n",
                kw.value, kw.value);
    command("keyword list notes " + std::to_string(kw.value));
    runkwlist(kw, stdout);

    std::printf("\nDone.  The files stay in %s for you to try the commands on; "
                "velnor --help lists them all.\n",
                opt.dir.c_str());
}

}  // namespace vtool
