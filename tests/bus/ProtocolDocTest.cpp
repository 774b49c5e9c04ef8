// The worked example of docs/protocol.md against the library: what the page shows is what travels.
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>

#include "bus/Bytes.h"
#include "bus/CA.h"
#include "bus/M.h"
#include "bus/Server.h"

using bus::block;
using bus::Client;
using bus::hex;
using bus::text;

namespace {

constexpr long long CLOCK = 1763680000123;

/** The byte that a word of the page stands for; -1 if it is no byte. */
int byteOf(const std::string& word) {
    if (word.size() != 2 || word.find_first_not_of("0123456789abcdef") != std::string::npos) return -1;
    return std::stoi(word, nullptr, 16);
}

/** The bytes at the beginning of a line; what follows them is explanation. */
std::string bytesOf(const std::string& line) {
    std::istringstream words(line.substr(0, line.find("   ")));
    std::string bytes;
    for (std::string word; words >> word;) {
        const int byte = byteOf(word);
        if (byte < 0) break;
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

/** The fenced blocks of the page by the name behind "```bytes". */
std::map<std::string, std::string> blocksOfThePage() {
    const std::string fence = "```";
    const std::string opening = fence + "bytes ";
    std::map<std::string, std::string> blocks;
    std::string* open = nullptr;
    std::ifstream page(JAY_PROTOCOL_PAGE);
    for (std::string line; std::getline(page, line);) {
        if (line.compare(0, opening.size(), opening) == 0) {
            open = &blocks[line.substr(opening.size())];
        } else if (line.compare(0, fence.size(), fence) == 0) {
            open = nullptr;
        } else if (open != nullptr) {
            *open += bytesOf(line);
        }
    }
    return blocks;
}

class ProtocolDocTest : public testing::Test {
protected:
    const std::string& bytes(const std::string& name) { return blocks[name]; }

    M exampleMessage() {
        M m;
        m.setDestId(7);
        m.setSrcId(5);
        m.setPriority(1);
        m.setTimestamp(CLOCK);
        m.setSection(42);
        m.addString("hello");
        m.addVarInt(1000);
        m.addWord(70000);
        m.addInt(-2);
        return m;
    }

    std::map<std::string, std::string> blocks = blocksOfThePage();
};

}  // namespace

TEST_F(ProtocolDocTest, Page_ShowsTheFourMessagesOfTheExample) {
    ASSERT_EQ(blocks.size(), 4U);
    EXPECT_EQ(bytes("greeting").size(), 16U);
    EXPECT_EQ(bytes("message").size(), 31U);
    EXPECT_EQ(bytes("request").size(), 16U);
    EXPECT_EQ(hex(bytes("delivered")), hex(bytes("message")));
}

TEST_F(ProtocolDocTest, Greeting_IsTheHeaderThatTheLibraryMakes) {
    M greeting;
    greeting.setSrcId(5);
    greeting.setTimestamp(CLOCK);
    EXPECT_EQ(hex(greeting.toByteArray()), hex(bytes("greeting")));
}

TEST_F(ProtocolDocTest, Message_IsWhatTheWritersMake) {
    EXPECT_EQ(hex(exampleMessage().toByteArray()), hex(bytes("message")));
}

TEST_F(ProtocolDocTest, Message_IsReadBackAsThePageExplainsIt) {
    M m(block(bytes("message")));
    EXPECT_EQ(m.getLength(), 31);
    EXPECT_EQ(m.getDestId(), 7);
    EXPECT_EQ(m.getSrcId(), 5);
    EXPECT_EQ(m.getFlag(), 0);
    EXPECT_EQ(m.getPriority(), 1);
    EXPECT_EQ(m.getTimestamp(), 595925115);
    EXPECT_EQ(m.getSection(), 42);
    m.setPos(M::HEADER_SIZE);
    EXPECT_EQ(text(m.getString()), "hello");
    EXPECT_EQ(m.getVarInt(), 1000);
    EXPECT_EQ(m.getWord(), 4464);
    EXPECT_EQ(m.getInt(), -2);
    EXPECT_EQ(m.getPos(), m.size());
}

/** A client of the library, but for the time stamps, which are the clock's. */
TEST_F(ProtocolDocTest, Client_SendsTheGreetingAndTheMessage) {
    net::Listener listener;
    CA five(5, "127.0.0.1", listener.port());
    five.start();
    ASSERT_NE(five.connect(), 0);
    Client server(listener.accept());
    M m = exampleMessage();
    five.put(m);
    for (const char* name : {"greeting", "message"}) {
        std::string sent = server.net::Peer::receive(bytes(name).size());
        sent.replace(8, 4, bytes(name).substr(8, 4));
        EXPECT_EQ(hex(sent), hex(bytes(name)));
    }
}

TEST_F(ProtocolDocTest, Server_AsksClient0AndDeliversTheMessage) {
    bus::Server server;
    Client zero = server.connect(0);
    Client five = Client::connectedTo(server.port());
    five.send(bytes("greeting") + bytes("message"));
    EXPECT_EQ(hex(zero.net::Peer::receive(16)), hex(bytes("request")));
    Client seven = server.connect(7);
    EXPECT_EQ(hex(seven.net::Peer::receive(31)), hex(bytes("delivered")));
}
