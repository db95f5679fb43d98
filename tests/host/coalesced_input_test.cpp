// Consecutive packets joined for the filter: every byte arrives once and in
// order, and a packet whose time does not follow on, or that carries end
// padding, still starts a payload of its own with its own time.
#include <gtest/gtest.h>

#include "host/coalesced_input.h"

namespace {

struct Given {
    uint8_t byte;  // the packet's one byte, to name it
    bool timed;
    REFERENCE_TIME start;
    uint32_t padding = 0;
    REFERENCE_TIME duration = 100;
};

class ListedInput : public InputSource {
public:
    explicit ListedInput(std::vector<Given> packets) : packets_(std::move(packets)) {}
    std::string containerName() const override { return "list"; }
    const std::vector<HostStream>& streams() const override { return streams_; }
    bool select(size_t) override { return true; }
    bool next(HostPacket& packet) override
    {
        if (at_ == packets_.size())
            return false;
        const Given& g = packets_[at_++];
        packet = HostPacket{};
        packet.data.assign(1000, g.byte);
        packet.hasTime = g.timed;
        packet.start = g.start;
        packet.duration = g.duration;
        packet.paddingFrames = g.padding;
        return true;
    }
    double progress() const override { return 0; }
    bool seek(REFERENCE_TIME) override
    {
        at_ = 0;
        return true;
    }

private:
    std::vector<Given> packets_;
    std::vector<HostStream> streams_;
    size_t at_ = 0;
};

// Each payload as the bytes naming its packets, then its time (-1: none).
std::vector<std::pair<std::string, REFERENCE_TIME>> payloads(InputSource& input)
{
    std::vector<std::pair<std::string, REFERENCE_TIME>> out;
    HostPacket packet;
    while (input.next(packet)) {
        std::string names;
        for (size_t i = 0; i < packet.data.size(); i += 1000)
            names += char(packet.data[i]);
        out.emplace_back(names, packet.hasTime ? packet.start : -1);
    }
    return out;
}

using Payloads = std::vector<std::pair<std::string, REFERENCE_TIME>>;

struct Case {
    const char* name;
    const char* codec;
    std::vector<Given> packets;
    Payloads expected;
};

TEST(CoalescedInput, JoinsOnlyWhatFollowsOn)
{
    const Case cases[] = {
        {"contiguous, then untimed",
         "truehd",
         {{'a', true, 0}, {'b', true, 100}, {'c', false, 0}, {'d', true, 300}},
         {{"abcd", 0}}},
        {"a gap and an overlap keep their times",
         "dts",
         {{'a', true, 0}, {'b', true, 100}, {'c', true, 900}, {'d', true, 940}},
         {{"ab", 0}, {"c", 900}, {"d", 940}}},
        {"padding ends a payload alone",
         "ac3",
         {{'a', true, 0}, {'b', true, 100, 12}, {'c', true, 200}},
         {{"a", 0}, {"b", 100}, {"c", 200}}},
        {"a packet is a frame", "aac", {{'a', true, 0}, {'b', true, 100}}, {{"a", 0}, {"b", 100}}},
        {"layer III joins", "mp3", {{'a', true, 0}, {'b', true, 100}}, {{"ab", 0}}},
        {"layer II padding is laid per packet",
         "mp2",
         {{'a', true, 0}, {'b', true, 100}},
         {{"a", 0}, {"b", 100}}},
        {"AMR, a fifth of a second at most",
         "amr-nb",
         {{'a', true, 0, 0, 800000},
          {'b', true, 800000, 0, 800000},
          {'c', true, 1600000, 0, 800000},
          {'d', true, 2400000, 0, 800000}},
         {{"ab", 0}, {"cd", 1600000}}},
        {"at most 16 KiB",
         "mlp",
         {{'a', true, 0},
          {'b', true, 100},
          {'c', true, 200},
          {'d', true, 300},
          {'e', true, 400},
          {'f', true, 500},
          {'g', true, 600},
          {'h', true, 700},
          {'i', true, 800},
          {'j', true, 900},
          {'k', true, 1000},
          {'l', true, 1100},
          {'m', true, 1200},
          {'n', true, 1300},
          {'o', true, 1400},
          {'p', true, 1500},
          {'q', true, 1600},
          {'r', true, 1700}},
         {{"abcdefghijklmnop", 0}, {"qr", 1600}}},
    };
    for (const Case& c : cases) {
        ListedInput listed(c.packets);
        CoalescedInput input(listed, c.codec);
        EXPECT_EQ(payloads(input), c.expected) << c.name;
    }
}

// The packet read ahead to end a payload belongs to the old position: a
// seek drops it rather than delivering it after the seek.
TEST(CoalescedInput, SeekDropsThePacketReadAhead)
{
    ListedInput listed({{'a', true, 0}, {'b', true, 500}});
    CoalescedInput input(listed, "truehd");
    HostPacket packet;
    ASSERT_TRUE(input.next(packet));
    ASSERT_TRUE(input.seek(0));
    EXPECT_EQ(payloads(input), (Payloads{{"a", 0}, {"b", 500}}));
}

}  // namespace
