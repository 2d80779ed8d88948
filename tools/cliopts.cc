// cliopts.cc - the shared command-line options.
#include "cliopts.h"

#include <cctype>

namespace vtool {

void fileoptions(CLI::App* sub, OpenSpec& target) {
    sub->add_option("FILE", target.path, "Data file")->required();
    sub->add_option("--fid", target.fid, "Definition file (default: FILE with the extension .fid)");
    sub->add_option("--index", target.index,
                    "Index or hash file (default: FILE with the extension .idx or .hsh)");
    sub->add_option("--network", target.network,
                    "Network type: SINGLE (default) for files no one else has open; IBMNET, "
                    "MSNET or NETWARE (locks) and the other names when the files are shared "
                    "with running applications")
        ->capture_default_str();
}

void formatoption(CLI::App* sub, Format& format, bool withsql) {
    std::vector<std::string> names{"text", "csv", "json"};
    if (withsql) names.push_back("sql");
    sub->add_option_function<std::string>(
           "--format", [&format](std::string name) {
               for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
               parseformat(name, &format);
           },
           withsql ? "Output form: text (aligned columns, the default), csv, json, or sql "
                     "(statements that make and fill a table of the same name as the file, "
                     "with an index per key)"
                   : "Output form: text (aligned columns, the default), csv or json")
        ->check(CLI::IsMember(names, CLI::ignore_case));
}

void encodingoption(CLI::App* sub, Encoding& enc) {
    sub->add_option_function<std::string>(
           "--encoding",
           [&enc](const std::string& name) {
               if (!parseencoding(name, &enc))
                   throw CLI::ValidationError("--encoding", "unknown code page: " + name);
           },
           "Code page of text that is not UTF-8: cp1252 (the default), cp437, latin1, or "
           "utf-8 (other bytes shown as U+FFFD)");
}

void itemsoption(CLI::App* sub, std::vector<std::string>& items) {
    sub->add_option("--items", items, "Show only these items, in this order (NAME,NAME,...)")
        ->delimiter(',');
}

}  // namespace vtool
