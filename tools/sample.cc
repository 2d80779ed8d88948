// sample.cc - the sample customer definition and generator.
#include "sample.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <vector>

#include "output.h"

namespace vtool {

namespace {

struct SampleItem {
    const char* name;
    char type, just;
    unsigned offset, length;
};

// Offsets count from the byte after the status byte; the first four bytes
// of a variable-length record hold its stored length, so items start at 4.
const SampleItem items[] = {
    {"CUSTNO", 'N', 'R', 4, 6},     {"LASTNAME", 'C', 'L', 10, 16}, {"FIRSTNAME", 'C', 'L', 26, 12},
    {"STREET", 'C', 'L', 38, 24},   {"CITY", 'C', 'L', 62, 16},     {"STATE", 'C', 'L', 78, 2},
    {"ZIP", 'C', 'L', 80, 5},       {"PHONE", 'C', 'L', 85, 12},    {"CREDIT", 'N', 'R', 97, 7},
    {"BALANCE", 'N', 'R', 104, 9},  {"SINCE", 'C', 'L', 113, 10},   {"OVERLINK", 'C', 'L', 123, 4},
    {"NOTES", 'C', 'L', 127, 120},
};
const unsigned reclen = 247;

const char* const firstnames[] = {
    "James", "Mary", "Robert", "Patricia", "John", "Jennifer", "Michael", "Linda", "David",
    "Elizabeth", "William", "Barbara", "Richard", "Susan", "Joseph", "Jessica", "Thomas", "Sarah",
    "Charles", "Karen", "Daniel", "Lisa", "Matthew", "Nancy", "Anthony", "Betty", "Mark", "Sandra",
    "Donald", "Margaret", "Steven", "Ashley", "Andrew", "Kimberly", "Paul", "Emily", "Joshua",
    "Donna", "Kenneth", "Michelle", "Kevin", "Carol", "Brian", "Amanda", "George", "Melissa",
    "Timothy", "Deborah", "Ronald", "Stephanie", "Edward", "Rebecca", "Jason", "Sharon"};
const char* const lastnames[] = {
    "Smith", "Johnson", "Williams", "Brown", "Jones", "Garcia", "Miller", "Davis", "Rodriguez",
    "Martinez", "Hernandez", "Lopez", "Gonzalez", "Wilson", "Anderson", "Thomas", "Taylor",
    "Moore", "Jackson", "Martin", "Lee", "Perez", "Thompson", "White", "Harris", "Sanchez",
    "Clark", "Ramirez", "Lewis", "Robinson", "Walker", "Young", "Allen", "King", "Wright", "Scott",
    "Torres", "Nguyen", "Hill", "Flores", "Green", "Adams", "Nelson", "Baker", "Hall", "Rivera",
    "Campbell", "Mitchell", "Carter", "Roberts", "Gomez", "Phillips", "Evans", "Turner", "Diaz",
    "Parker", "Cruz", "Edwards", "Collins", "Reyes", "Stewart", "Morris", "Morales", "Murphy",
    "Cook", "Rogers", "Gutierrez", "Ortiz", "Morgan", "Cooper", "Peterson", "Bailey", "Reed",
    "Kelly", "Howard", "Ramos", "Kim", "Cox", "Ward", "Richardson", "Watson", "Brooks"};
const char* const streets[] = {"Oak", "Maple", "Cedar", "Pine", "Elm", "Washington", "Lake",
                               "Hill", "Park", "Walnut", "Sunset", "Highland", "Church",
                               "Mill", "River", "Spring", "Meadow", "Forest", "Chestnut",
                               "Jefferson", "Lincoln", "Franklin", "Main", "Center"};
const char* const suffixes[] = {"St", "Ave", "Rd", "Ln", "Dr", "Ct", "Way", "Blvd", "Pl"};
const struct {
    const char* city;
    const char* state;
    const char* zip;
    const char* area;
} places[] = {
    {"Springfield", "IL", "627", "217"}, {"Columbus", "OH", "432", "614"},
    {"Madison", "WI", "537", "608"},     {"Portland", "OR", "972", "503"},
    {"Austin", "TX", "787", "512"},      {"Denver", "CO", "802", "303"},
    {"Raleigh", "NC", "276", "919"},     {"Albany", "NY", "122", "518"},
    {"Sacramento", "CA", "958", "916"},  {"Boise", "ID", "837", "208"},
    {"Tucson", "AZ", "857", "520"},      {"Omaha", "NE", "681", "402"},
    {"Richmond", "VA", "232", "804"},    {"Savannah", "GA", "314", "912"},
    {"Burlington", "VT", "054", "802"},  {"Spokane", "WA", "992", "509"},
    {"Lexington", "KY", "405", "859"},   {"Des Moines", "IA", "503", "515"},
    {"Santa Fe", "NM", "875", "505"},    {"Providence", "RI", "029", "401"},
    {"Charleston", "SC", "294", "843"},  {"Anchorage", "AK", "995", "907"},
    {"Duluth", "MN", "558", "218"},      {"Knoxville", "TN", "379", "865"}};
const char* const notes[] = {
    "Prefers contact by email.", "Pays by check, usually late in the month.",
    "Ask for the purchasing office, not the front desk.", "Tax exempt; certificate on file.",
    "Long-standing account, handle with care.", "Delivery only before noon.",
    "Requested a paper catalogue every spring.", "Disputed an invoice last year; settled.",
    "Referred by another customer.", "Wants quotes in writing before any order.",
    "Seasonal business, quiet in winter.", "Call ahead: gate code changes monthly."};
const unsigned credits[] = {500, 1000, 1500, 2000, 2500, 5000, 7500, 10000, 15000, 25000};

template <typename T, size_t N>
constexpr uint32_t count(const T (&)[N]) {
    return N;
}

std::string digits(uint32_t value, int width) {
    std::string s = std::to_string(value);
    return std::string(s.size() < static_cast<size_t>(width) ? width - s.size() : 0, '0') + s;
}

std::string money(uint32_t cents) {
    return std::to_string(cents / 100) + "." + digits(cents % 100, 2);
}

}  // namespace

std::string sampledefinition() {
    const unsigned n = count(items);
    std::vector<unsigned> order(n);
    std::iota(order.begin(), order.end(), 0u);
    std::sort(order.begin(), order.end(),
              [](unsigned a, unsigned b) { return std::strcmp(items[a].name, items[b].name) < 0; });
    std::string s = "TKF FID v7.0\n";
    s += "RecLen = " + std::to_string(reclen) + "\n";
    s += "Flags = 1\n";  // variable-length records
    s += "NItems = " + std::to_string(n) + "\n";
    s += "NKeys = 2\n";
    for (unsigned i = 0; i < n; ++i) {
        const SampleItem& it = items[i];
        s += "Item = " + std::string(it.name) + ", '" + it.type + "', '" + it.just + "', " +
             std::to_string(it.offset) + ", " + std::to_string(it.length) + ", 1, " +
             std::to_string(order[i]) + ",\n";
    }
    s += "Key = CUSTNO, 6, 1\n4, 6, 0\n";
    s += "Key = NAME, 28, 2\n10, 16, 0\n26, 12, 0\n";
    s += "Thread = OVERLINK, BALANCE > CREDIT\n";
    return s;
}

CustomerGenerator::CustomerGenerator(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15ull + 1) {}

// A permuted congruential generator: small, fast and the same everywhere.
uint32_t CustomerGenerator::rand() {
    uint64_t old = state_;
    state_ = old * 6364136223846793005ull + 1442695040888963407ull;
    uint32_t shifted = static_cast<uint32_t>(((old >> 18u) ^ old) >> 27u);
    uint32_t rot = static_cast<uint32_t>(old >> 59u);
    return (shifted >> rot) | (shifted << ((32 - rot) & 31));
}

Customer CustomerGenerator::next() {
    Customer c;
    number_ += 1 + below(3);
    c.custno = std::to_string(number_);
    c.lastname = lastnames[below(count(lastnames))];
    c.firstname = firstnames[below(count(firstnames))];
    c.street = std::to_string(10 + below(9900)) + " " + streets[below(count(streets))] + " " +
               suffixes[below(count(suffixes))];
    const auto& place = places[below(count(places))];
    c.city = place.city;
    c.state = place.state;
    c.zip = std::string(place.zip) + digits(below(100), 2);
    c.phone = std::string(place.area) + "-555-" + digits(below(10000), 4);
    uint32_t credit = credits[below(count(credits))];
    c.credit = std::to_string(credit);
    // About one customer in twelve is over the limit.
    uint32_t limit = credit * 100;
    uint32_t balance = below(12) == 0 ? limit + 1 + below(limit / 2 + 1) : below(limit + 1);
    c.balance = money(balance);
    c.since = std::to_string(1995 + below(30)) + "-" + digits(1 + below(12), 2) + "-" +
              digits(1 + below(28), 2);
    uint32_t nnotes = below(10) < 6 ? 0 : 1 + below(3);
    for (uint32_t i = 0; i < nnotes; ++i) {
        std::string add = notes[below(count(notes))];
        if (c.notes.find(add) != std::string::npos) continue;
        if (c.notes.size() + add.size() + 1 > 120) break;
        c.notes += (c.notes.empty() ? "" : " ") + add;
    }
    return c;
}

void writesamplecsv(std::FILE* out, unsigned count, uint64_t seed) {
    std::fputs("CUSTNO,LASTNAME,FIRSTNAME,STREET,CITY,STATE,ZIP,PHONE,CREDIT,BALANCE,SINCE,NOTES\n",
               out);
    CustomerGenerator gen(seed);
    for (unsigned i = 0; i < count; ++i) {
        Customer c = gen.next();
        const std::string* fields[] = {&c.custno, &c.lastname, &c.firstname, &c.street,
                                       &c.city,   &c.state,    &c.zip,       &c.phone,
                                       &c.credit, &c.balance,  &c.since,     &c.notes};
        std::string line;
        for (const std::string* f : fields) {
            if (!line.empty()) line += ',';
            line += csvfield(*f);
        }
        std::fprintf(out, "%s\n", line.c_str());
    }
}

}  // namespace vtool
