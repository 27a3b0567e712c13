// Digests of files.
#include <string>

#include <gtest/gtest.h>

#include "Digest.h"

namespace test::DigestTest {
namespace {

using quindal::Sha256;

// The messages and digests are those of FIPS 180-4's examples, and of a message of a million times "a".
TEST(Digest, IsTheSha256OfTheBytes)
{
    EXPECT_EQ(Sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(Sha256("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(Sha256(std::string(1'000'000, 'a')), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
    EXPECT_EQ(Sha256({}), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST(Digest, TakesBytesOfZeroAsAnyOthers) { EXPECT_NE(Sha256(std::string(1, '\0')), Sha256(std::string(2, '\0'))); }

} // namespace
} // namespace test::DigestTest
