// PushButton: the click protocol under a dialog holding the mouse, and its
// faces and caption pixel by pixel.
#include "support/mwin_fixture.h"
#include "test_digimix_helpers.h"

#include <functional>

using namespace mwintest;

namespace {
const unsigned long kHover = BUTTON_HOVER << 16, kDown = BUTTON_DOWN << 16, kTracking = BUTTON_TRACKING << 16;
} // namespace

TEST_F(WindowTest, PushButtonClicksOnlyWhenReleasedInside)
{
    MWin dialog(&root);
    dialog.SetSize(160, 120);
    PushButton button(&dialog, &sprites, 7);
    Place(button, 10, 10, 30, 16);
    button.SetOwner(&owner);
    button.ActivateHighlight(1);
    EXPECT_EQ(dialog.LockFocus(), nullptr);

    struct Step {
        unsigned short code;
        int x, y;
        unsigned long flags;
    };
    const struct {
        std::vector<Step> steps;
        std::vector<std::string> heard;
    } clicks[] = {
        {{{MWIN_MOVE, 20, 15, kHover}, {MWIN_PRESS, 20, 15, kHover | kDown | kTracking},
          {MWIN_MOVE, 100, 100, kHover | kTracking}, // the pressed look follows the pointer
          {MWIN_MOVE, 39, 25, kHover | kDown | kTracking}, {MWIN_RELEASE, 39, 25, kHover}},
         {"8020:7 0 0"}},
        {{{MWIN_PRESS, 20, 15, kHover | kDown | kTracking}, {MWIN_MOVE, 40, 15, kHover | kTracking},
          {MWIN_RELEASE, 40, 15, kHover}, {MWIN_MOVE, 40, 15, 0}},
         {}},
    };
    for (const auto& click : clicks) {
        for (const Step& step : click.steps) {
            Mouse(step.code, step.x, step.y);
            EXPECT_EQ(button.state & (kHover | kDown | kTracking), step.flags) << std::hex << step.code;
        }
        EXPECT_EQ(Take(), click.heard);
        EXPECT_EQ(dialog.LockFocus(), &dialog); // the dialog holds the mouse again
    }

    button.ActivateBorder(9, 1);
    button.SetBevelWidth(0);
    button.ActivateBorder(9, 0); // the bevel stays at 0
    EXPECT_EQ(std::make_pair(int(button.bevelWidth), button.state & (BUTTON_BORDER << 16)), std::make_pair(0, 0ul));
    button.SetText(const_cast<char*>("0123456789012345678901234567890123456789"));
    EXPECT_EQ(std::string(button.text), "01234567890123456789012345678");
}

TEST_F(WindowTest, PushButtonFacesAndCaptions)
{
    PushButton button(&root, &sprites, 7);
    Place(button, 10, 10, 30, 16);
    button.SetBGColors(11, 12, 13);
    button.SetFGColors(14, 15);
    button.SetText(const_cast<char*>("OK"));
    button.SetFont(&fontDef);
    // Raised: light on top and left, shadow on bottom and right, b pixels deep.
    auto raised = [&](Model& m, int b) {
        m.Fill(10, 10, 39, 25, 13);
        for (int i = 0; i < b; ++i) {
            m.Fill(10 + i, 10 + i, 39 - i, 10 + i, 11);
            m.Fill(10 + i, 11 + i, 10 + i, 25 - i, 11);
        }
        for (int i = 0; i < b; ++i) {
            m.Fill(11 + i, 25 - i, 39 - i, 25 - i, 12);
            m.Fill(39 - i, 11 + i, 39 - i, 24 - i, 12);
        }
    };
    const struct {
        std::function<void()> change;
        std::function<void(Model&)> draw;
    } looks[] = {
        {[] {}, [&](Model& m) { raised(m, 2), m.Text(21, 15, "OK", 14); }},
        {[&] { button.ActivateHighlight(1), Mouse(MWIN_MOVE, 12, 12); }, [&](Model& m) { raised(m, 2), m.Text(21, 15, "OK", 15); }},
        {[&] { button.KeepDown(1); },
         [&](Model& m) { // sunken: shadow on top and left only, caption one pixel down and right
             m.Fill(10, 10, 39, 25, 13);
             m.Fill(10, 10, 39, 11, 12);
             m.Fill(10, 10, 11, 25, 12);
             m.Text(22, 16, "OK", 14);
         }},
        {[&] { button.KeepDown(0), button.ActivateBorder(9, 1), button.ActivateBorder(9, 1); }, // widened once
         [&](Model& m) { raised(m, 3), m.Frame(10, 10, 39, 25, 9), m.Text(21, 15, "OK", 15); }},
    };
    for (size_t i = 0; i < std::size(looks); ++i) {
        looks[i].change();
        Model expected;
        looks[i].draw(expected);
        EXPECT_EQ(Frame(), expected.px) << "look " << i;
    }

}

TEST_F(WindowTest, PushButtonPressPlaysItsClickThroughTheWindowMixer)
{
    tvxtest::OpenMixer open;
    ASSERT_EQ(open.opened, ERR_OK);
    unsigned char samples[40] = {};
    PushButton button(&root, &sprites, 7);
    Place(button, 10, 10, 30, 16);
    button.SetSound(open.mix.CreateSound(samples, sizeof samples, 0, nullptr, nullptr), 5, 6);
    Click(20, 15); // no mixer installed yet: silence
    EXPECT_EQ(open.mix.noteQueue, nullptr);
    SetMWinDigimix(&open.mix);
    Click(20, 15);
    ASSERT_NE(open.mix.noteQueue, nullptr);
    const _DMNote& note = *open.mix.noteQueue;
    EXPECT_EQ((std::vector<uint32_t>{note.flags, note.param3, note.param4}), (std::vector<uint32_t>{0x12, 5, 6}));
}
