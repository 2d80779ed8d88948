// exports_test.cc - the shared library as an application sees it: calls
// through the addresses found by plain name work.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "dynlib.h"
#include "velnor.h"

namespace {

class SharedLibrary : public ::testing::Test {
protected:
    void SetUp() override {
        std::string why;
        lib_ = dynlib::load(&why);
        ASSERT_NE(lib_, nullptr) << why;
    }
    // The library stays loaded to the end of the process, as an
    // application's does: its state object lives as long as the process,
    // and unloading the library early would strand it.
    template <typename Fn>
    Fn get(const char* name) {
        return reinterpret_cast<Fn>(dynlib::find(lib_, name));
    }
    void* lib_ = nullptr;
};

TEST_F(SharedLibrary, CallsThroughExportedAddressesWork) {
    using Version = void(VELNOR_CALL*)(uint16_t*, uint16_t*);
    auto version = get<Version>("vfhgetversion");
    ASSERT_NE(version, nullptr);
    uint16_t major = 0, minor = 0;
    version(&major, &minor);
    EXPECT_EQ(major, 1792);
    EXPECT_EQ(minor, 144);

    // An engine call before initialisation is refused with status 12.
    using Handler = int32_t(VELNOR_CALL*)(FHCB*);
    auto handler = get<Handler>("filehandler");
    ASSERT_NE(handler, nullptr);
    FHCB cb{};
    cb.opcode = VN_OP_CLOSE;
    EXPECT_EQ(handler(&cb), -1);
    EXPECT_EQ(cb.status, VN_E_NOINIT);
}

TEST_F(SharedLibrary, RoundIsExportedUnderItsShortNameWhereTheDllCarriesIt) {
    using Round = long double(VELNOR_CALL*)(double, int32_t);
    auto full = get<Round>("velnor_round");
    ASSERT_NE(full, nullptr);
    EXPECT_NEAR(static_cast<double>(full(2.71828, 2)), 2.72, 1e-9);
    if (!dynlib::kRoundAlias) GTEST_SKIP() << "only velnor.dll carries the short name";
    auto shortname = get<Round>("round");
    ASSERT_NE(shortname, nullptr);
    EXPECT_EQ(reinterpret_cast<void*>(shortname), reinterpret_cast<void*>(full));
}

}  // namespace
