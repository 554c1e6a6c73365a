#include "noise.h"

#include <gtest/gtest.h>

#include "bytes.h"
#include "script_controller.h"

using namespace apsim;

namespace {

const Mac victim = {0x02, 0xA9, 0x51, 0x00, 0x00, 0x10};

bool dropped(const Bytes& frame)
{
    ScriptController controller;
    return controller.on_frame(frame).empty() && controller.seen.empty();
}

} // namespace

TEST(Noise, frames_that_must_be_dropped_are_dropped_for_1000_draws_of_each)
{
    NoiseMaker maker(11);
    for (Noise noise : {Noise::bad_crc, Noise::bad_vendor, Noise::zero_mac, Noise::garbage})
        for (int i = 0; i < 1000; i++) {
            const Bytes frame = maker.make(noise, victim);
            ASSERT_FALSE(frame.empty());
            ASSERT_LE(frame.size(), 2048u);
            ASSERT_TRUE(dropped(frame)) << to_string(noise) << ' ' << shown(frame);
        }
}

TEST(Noise, a_bad_crc_is_never_zero_since_that_would_mean_none)
{
    NoiseMaker maker(12);
    for (int i = 0; i < 1000; i++) {
        const Bytes frame = maker.make(Noise::bad_crc, victim);
        EXPECT_NE(shown(ByteView(frame).subspan(24, 4)), "00000000");
        EXPECT_EQ(shown(ByteView(frame).first(6)), "02a951000010");
    }
}

TEST(Noise, an_unknown_ap_sends_a_sound_echo_and_gets_the_link_down)
{
    NoiseMaker maker(13);
    const Bytes frame = maker.make(Noise::unknown, victim);
    ASSERT_EQ(frame.size(), 28u);
    EXPECT_EQ(frame[0], 0x06);
    ScriptController controller;
    const auto answers = controller.on_frame(frame);
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0][10], 0x5A);
    EXPECT_EQ(answers[0][19], 1);
}
