// sample.h - the bundled sample: a customer file definition (two keys, a
// variable-length notes item, a thread of the customers over their credit
// limit) and a deterministic generator of plausible customers for it.
#ifndef VELNOR_TOOLS_SAMPLE_H
#define VELNOR_TOOLS_SAMPLE_H

#include <cstdint>
#include <cstdio>
#include <string>

namespace vtool {

// The text definition, with its thread line (compile it to use the thread).
std::string sampledefinition();

// One generated customer, fields as the CSV holds them.
struct Customer {
    std::string custno, lastname, firstname, street, city, state, zip, phone, credit, balance,
        since, notes;
};

// A repeatable stream of customers: the same seed gives the same ones on
// every machine.
class CustomerGenerator {
public:
    explicit CustomerGenerator(uint64_t seed = 1);
    Customer next();

private:
    uint32_t rand();
    uint32_t below(uint32_t n) { return rand() % n; }
    uint64_t state_;
    unsigned number_ = 10000;
};

// Writes count customers as CSV with a header row naming the items.
void writesamplecsv(std::FILE* out, unsigned count, uint64_t seed = 1);

}  // namespace vtool

#endif
