// export_test.cc - velnor export into SQLite and load --sqlite back out,
// checked by the way back in.
#include <sqlite3.h>

#include "tooltest.h"

namespace {

// The rows of a query on a database, columns joined by '|'.
std::vector<std::string> query(const std::string& db, const std::string& sql) {
    sqlite3* h = nullptr;
    std::vector<std::string> rows;
    EXPECT_EQ(sqlite3_open_v2(db.c_str(), &h, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK) << db;
    auto row = [](void* out, int n, char** values, char**) {
        std::string line;
        for (int i = 0; i < n; ++i) line.append(i ? "|" : "").append(values[i] ? values[i] : "NULL");
        static_cast<std::vector<std::string>*>(out)->push_back(line);
        return 0;
    };
    char* err = nullptr;
    EXPECT_EQ(sqlite3_exec(h, sql.c_str(), row, &rows, &err), SQLITE_OK) << (err ? err : "");
    sqlite3_free(err);
    sqlite3_close(h);
    return rows;
}

// Parts: CODE (key 1), NAME (key 2, descending), QTY a right-justified
// number, PRICE a number with decimals.
class Parts : public ToolTest {
protected:
    void SetUp() override {
        writefile("p.fid", textfid(40, 0,
                                   {{"CODE", 'C', 0, 8}, {"NAME", 'C', 8, 16}, {"QTY", 'N', 24, 6, 1, 'R'},
                                    {"PRICE", 'N', 30, 10, 1, 'R'}},
                                   {{"CODE", 8, {{0, 8, 0}}}, {"NAME", 16, {{8, 16, 1}}}}));
    }
    void load(int rows) {
        std::string csv = "CODE,NAME,QTY,PRICE\n";
        for (int i = 0; i < rows; ++i)
            csv += vntest::cat("P", i, ",\"name, ", i % 97, "\",", i % 1000, ",", i % 7 ? "" : "12.5", "\n");
        writefile("in.csv", csv);
        ASSERT_TRUE(exits(0, {"load", "p.dat", "--csv", "in.csv", "--create"}));
    }
};

}  // namespace

TEST_F(Parts, ExportThenLoadGivesTheSameRecords) {
    load(50000);
    EXPECT_TRUE(holds(ok({"export", "p.dat", "--sqlite", "out.db"}), "50000 records into table p"));
    const std::string db = path("out.db");
    // Numbers are numbers, an empty one NULL; each key is an index.
    EXPECT_EQ(query(db, "SELECT typeof(QTY), typeof(PRICE), NAME FROM p WHERE CODE = 'P7'").at(0),
              "integer|real|name, 7");
    EXPECT_EQ(query(db, "SELECT count(*) FROM p WHERE PRICE IS NULL").at(0), "42857");
    const std::vector<std::string> indexes = query(db, "SELECT sql FROM sqlite_master WHERE type = 'index'");
    ASSERT_EQ(indexes.size(), 2u);
    EXPECT_TRUE(holds(indexes[0], "ON \"p\" (\"CODE\" COLLATE NOCASE)"));
    EXPECT_TRUE(holds(indexes[1], "(\"NAME\" COLLATE NOCASE DESC)"));
    // A second export into the same table is refused, not doubled; a failure
    // names its file.
    EXPECT_TRUE(exits(1, {"export", "p.dat", "--sqlite", "out.db"}, "already has a table"));
    EXPECT_TRUE(exits(1, {"export", "p.dat", "--sqlite", "no/such/dir/out.db"}, "no/such/dir/out.db: unable to open"));
    EXPECT_TRUE(exits(1, {"load", "q.dat", "--fid", "p.fid", "--sqlite", "out.db", "--create"}, "no table \"q\""));

    ASSERT_TRUE(exits(0, {"load", "q.dat", "--fid", "p.fid", "--sqlite", "out.db", "--table", "p", "--create"}));
    EXPECT_EQ(ok({"dump", "q.dat", "--fid", "p.fid", "--format", "csv", "--key", "2"}),
              ok({"dump", "p.dat", "--format", "csv", "--key", "2"}));
}
