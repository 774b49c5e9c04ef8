#include "net/JInetAddress.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <resolv.h>
#include <string>

#include "net/Peer.h"
#include "net/Slot.h"

namespace {

std::string dotted(JInetAddress address) {
    return static_cast<const char*>(address.getHostAddress());
}

JInetAddress byName(const std::string& host) {
    return JInetAddress::getByName(host.c_str());
}

/** While it lives, the calling thread's resolver asks a name server on this machine that is not there. */
class NoNameServer {
public:
    NoNameServer() {
        res_init();
        _res.nscount = 1;
        _res.nsaddr_list[0] = net::loopback(nobody_.port());
        _res.retry = 1;
    }
    ~NoNameServer() { res_init(); }
    NoNameServer(const NoNameServer&) = delete;
    NoNameServer& operator=(const NoNameServer&) = delete;

private:
    net::Listener nobody_;  // a TCP port: a datagram to the same number is refused
};

}  // namespace

TEST(JInetAddressTest, HasItsOwnClassRecord) {
    JInetAddress address;
    EXPECT_EQ(address.getClass(), &JInetAddress::classJInetAddress);
    EXPECT_STREQ(JInetAddress::classJInetAddress.name, "JInetAddress");
    EXPECT_EQ(JInetAddress::classJInetAddress.size, static_cast<int>(sizeof(JInetAddress)));
    EXPECT_EQ(JInetAddress::classJInetAddress.superclass, &JObject::classJObject);
}

TEST(JInetAddressTest, IsNew_AllZero) {
    JInetAddress address;
    EXPECT_EQ(dotted(address), "0.0.0.0");
    EXPECT_EQ(address.hashCode(), 0);
}

TEST(JInetAddressTest, HasTheAddressAsTheSecondOfFourWords) {
    JInetAddress address = byName("1.2.3.4");
    const char* const first = reinterpret_cast<const char*>(&address) + sizeof(JObject);
    EXPECT_EQ(sizeof address, (sizeof(JObject) + 16 + alignof(void*) - 1) / alignof(void*) * alignof(void*));
    EXPECT_EQ(std::string(first, 16), std::string("\0\0\0\0\1\2\3\4\0\0\0\0\0\0\0\0", 16));
}

// ---- look-up by name ----

TEST(JInetAddressTest, GetByName_OfADottedText_IsThatAddress) {
    JInetAddress address = byName("10.1.2.3");
    EXPECT_EQ(dotted(address), "10.1.2.3");
    EXPECT_EQ(address.hashCode(), 167838211);
}

TEST(JInetAddressTest, GetByName_TakesTheShortForms) {
    EXPECT_EQ(dotted(byName("127.1")), "127.0.0.1");
    EXPECT_EQ(dotted(byName("0x7f000001")), "127.0.0.1");
}

TEST(JInetAddressTest, GetByName_OfAName_IsItsFirstAddress) {
    EXPECT_EQ(dotted(byName("localhost")), "127.0.0.1");
}

TEST(JInetAddressTest, GetByName_OfTheAllOnesText_AsksTheResolver) {
    const hostent* const entry = gethostbyname("255.255.255.255");
    const std::string expected = entry != nullptr ? "255.255.255.255" : "0.0.0.0";
    EXPECT_EQ(dotted(byName("255.255.255.255")), expected);
}

TEST(JInetAddressTest, GetByName_OfANameThatCannotBe_IsZero) {
    EXPECT_EQ(dotted(byName(std::string(64, 'a'))), "0.0.0.0");  // a label has 63 characters at most
}

TEST(JInetAddressTest, GetByName_OfAnUnknownName_IsZero) {
    const NoNameServer none;
    EXPECT_EQ(dotted(byName("unknown.invalid")), "0.0.0.0");
}

TEST(JInetAddressTest, GetByName_OfNothing_IsZero) {
    const NoNameServer none;
    EXPECT_EQ(dotted(byName("")), "0.0.0.0");
    EXPECT_EQ(dotted(JInetAddress::getByName(nullptr)), "0.0.0.0");
}

TEST(JInetAddressTest, GetByName_FromManyThreads_GivesEachItsOwnAnswer) {
    std::atomic<int> wrong{0};
    const auto ask = [&wrong](const char* host, const char* expected) {
        for (int i = 0; i < 200; i++) wrong += dotted(JInetAddress::getByName(host)) == expected ? 0 : 1;
    };
    {
        const support::Thread first([&] { ask("localhost", "127.0.0.1"); });
        const support::Thread second([&] { ask("255.255.255.255", "255.255.255.255"); });
        const support::Thread third([&] { ask("10.1.2.3", "10.1.2.3"); });
    }
    EXPECT_EQ(wrong, 0);
}

TEST(JInetAddressTest, GetAllByName_IsZeroForAnyName) {
    EXPECT_EQ(dotted(JInetAddress::getAllByName("10.1.2.3")), "0.0.0.0");
    EXPECT_EQ(dotted(JInetAddress::getAllByName("localhost")), "0.0.0.0");
    EXPECT_EQ(dotted(JInetAddress::getAllByName(nullptr)), "0.0.0.0");
}

TEST(JInetAddressTest, GetLocalHost_IsZero) {
    EXPECT_EQ(dotted(JInetAddress::getLocalHost()), "0.0.0.0");
}

// ---- look-up by address ----

TEST(JInetAddressTest, GetHostName_IsTheOfficialName) {
    const in_addr local{htonl(INADDR_LOOPBACK)};
    const hostent* const entry = gethostbyaddr(&local, sizeof local, AF_INET);
    ASSERT_NE(entry, nullptr) << "this machine has no name for 127.0.0.1";
    const std::string expected = entry->h_name;
    EXPECT_EQ(static_cast<const char*>(byName("127.0.0.1").getHostName()), expected);
}

TEST(JInetAddressTest, GetHostName_OfAnUnknownAddress_IsEmpty) {
    const NoNameServer none;
    EXPECT_EQ(byName("127.99.98.97").getHostName().length(), 0);
}

// ---- the value ----

TEST(JInetAddressTest, GetAddress_IsANewBlockInNetworkOrder) {
    JInetAddress address = byName("1.2.3.200");
    JByte b = address.getAddress();
    ASSERT_EQ(b.size(), 4);
    EXPECT_EQ(net::text(b, 0, 4), "\x01\x02\x03\xC8");
    *static_cast<char*>(b) = 9;
    EXPECT_EQ(dotted(address), "1.2.3.200");
}

TEST(JInetAddressTest, HashCode_IsTheBigEndianNumber) {
    EXPECT_EQ(byName("0.0.0.1").hashCode(), 1);
    EXPECT_EQ(byName("1.0.0.0").hashCode(), 0x01000000);
    EXPECT_EQ(byName("128.0.0.0").hashCode(), INT_MIN);
    EXPECT_EQ(byName("255.255.255.254").hashCode(), -2);
}

TEST(JInetAddressTest, Equals_ComparesTheBytes) {
    JInetAddress one = byName("10.1.2.3");
    JInetAddress same = byName("10.1.2.3");
    JInetAddress other = byName("10.1.2.4");
    EXPECT_TRUE(one.equals(static_cast<JObject&>(same)));
    EXPECT_TRUE(one.equals(static_cast<JObject*>(&same)));
    EXPECT_FALSE(one.equals(static_cast<JObject&>(other)));
    EXPECT_FALSE(one.equals(static_cast<JObject*>(&other)));
}

TEST(JInetAddressTest, Equals_WithAnotherClass_IsFalse) {
    JInetAddress address;
    JObject object;
    EXPECT_FALSE(address.equals(object));
    EXPECT_FALSE(address.equals(&object));
}

TEST(JInetAddressTest, Equals_ThroughConst_ComparesClassesOnly) {
    JInetAddress one = byName("10.1.2.3");
    const JInetAddress other = byName("10.1.2.4");
    EXPECT_TRUE(one.equals(static_cast<const JObject&>(other)));
    EXPECT_TRUE(one.equals(static_cast<const JObject*>(&other)));
}

TEST(JInetAddressTest, Equals_ThroughTheRoot_ComparesClassesOnly) {
    JInetAddress one = byName("10.1.2.3");
    JInetAddress other = byName("10.1.2.4");
    JObject& root = one;
    EXPECT_TRUE(root.equals(other));
}

TEST(JInetAddressTest, HasItsOwnEqualsBehindTheRootsSlots) {
    JInetAddress one = byName("10.1.2.3");
    JInetAddress same = byName("10.1.2.3");
    JInetAddress other = byName("10.1.2.4");
    for (const int slot : {net::FIRST_OWN_SLOT, net::FIRST_OWN_SLOT + 1}) {
        EXPECT_TRUE(net::callSlot<bool>(one, slot, &same));
        EXPECT_FALSE(net::callSlot<bool>(one, slot, &other));
    }
}

TEST(JInetAddressTest, Copies_AreIndependent) {
    JInetAddress one = byName("10.1.2.3");
    const JInetAddress copy(one);
    one = byName("10.9.9.9");
    EXPECT_EQ(dotted(copy), "10.1.2.3");
    EXPECT_EQ(dotted(one), "10.9.9.9");
}

TEST(JInetAddressTest, HasNoClone) {
    JInetAddress address;
    EXPECT_EQ(address.clone(), nullptr);
}

TEST(JInetAddressTest, IsMulticastAddress_IsAlwaysFalse) {
    EXPECT_FALSE(byName("224.0.0.1").isMulticastAddress());
    EXPECT_FALSE(byName("10.1.2.3").isMulticastAddress());
}
