// Slider and ScrollBar: paging, dragging and its value rule, the track's
// colour stretches and the tab's bevels, and the scroll bar's layout and
// translation of its children's events.
#include "support/mwin_fixture.h"
#include "support/pictures.h"

#include <tuple>

using namespace mwintest;

TEST_F(WindowTest, SliderPagesAndDrags)
{
    Slider across(&root, &sprites, 4), down(&root, &sprites, 5);
    Place(across, 10, 50, 120, 12);
    Place(down, 140, 10, 12, 60);
    across.SetOwner(&owner);
    down.SetOwner(&owner);
    across.SetSliderRange(101);
    across.SetSliderPosition(500);
    EXPECT_EQ(std::make_pair(across.position, across.tabPos), std::make_pair(100u, 100u));
    across.SetSliderPosition(50);
    down.SetSliderRange(0);
    EXPECT_EQ(std::make_pair(down.position, down.state & 0xFF0000), std::make_pair(0u, uint32_t(SCROLL_VERTICAL << 16)));

    // Positions along each track: the horizontal one at x = 10 + c, the vertical at y = 10 + c.
    const struct {
        Slider* slider;
        unsigned short code;
        int c;
        std::vector<std::string> heard;
    } events[] = {
        {&across, MWIN_PRESS, 49, {"8023:4 802a 0"}}, {&across, MWIN_PRESS, 70, {"8023:4 802b 0"}}, // beside the tab
        {&across, MWIN_PRESS, 50, {}},                                                          // on it: a drag
        {&across, MWIN_MOVE, 9, {"8023:4 8034 0"}},   {&across, MWIN_MOVE, 111, {"8023:4 8034 100"}},
        {&across, MWIN_MOVE, 60, {"8023:4 8034 55"}}, // 100 * (60 - 20 / 4) / (120 - 20)
        {&across, MWIN_MOVE, 500, {"8023:4 8034 100"}}, {&across, MWIN_RELEASE, 60, {"8023:4 8035 55"}},
        {&across, MWIN_MOVE, 60, {}},                 {&down, MWIN_PRESS, 30, {"8023:5 8027 0"}},
        {&down, MWIN_PRESS, 5, {}},                   {&down, MWIN_MOVE, 40, {"8023:5 8034 0"}}, // no range: 0
        {&down, MWIN_RELEASE, 40, {"8023:5 8035 0"}},
    };
    for (const auto& e : events) {
        const bool horizontal = e.slider == &across;
        const int x = horizontal ? 10 + e.c : 145, y = horizontal ? 55 : 10 + e.c;
        if (e.code == MWIN_PRESS)
            Mouse(MWIN_MOVE, x, y);
        Mouse(e.code, x, y);
        EXPECT_EQ(Take(), e.heard) << std::hex << e.code << std::dec << " at " << e.c;
    }
    EXPECT_EQ(root.childSpots.QueryFocusLocked(), 0);
}

TEST_F(WindowTest, SliderTrackStretchesAndTabBevels)
{
    assertionsExpected = true;
    Slider slider(&root, &sprites, 4);
    Place(slider, 10, 50, 120, 12);
    slider.SetSliderRange(101);
    slider.SetSliderPosition(50);
    slider.SetFGColors(8);
    auto tab = [](Model& m, int light, int shadow) {
        m.Fill(61, 51, 78, 60, 10);
        for (int d = 1; d <= 2; ++d) {
            m.Fill(60 + d, 50 + d, 79 - d, 50 + d, light);
            m.Fill(60 + d, 50 + d, 60 + d, 61 - d, light);
            m.Fill(60 + d, 61 - d, 79 - d, 61 - d, shadow);
            m.Fill(79 - d, 50 + d, 79 - d, 61 - d, shadow);
        }
    };
    // Each stretch ends at the centre of the tab at its threshold value.
    slider.SetRangeColors(20, 3, 60, 5, SLIDER_TO_END, 7, SLIDER_TO_END, 0);
    Model expected;
    for (auto [from, to, colour] : {std::tuple{10, 40, 3}, {41, 80, 5}, {81, 129, 7}})
        expected.Fill(from, 50, to, 61, colour);
    expected.Frame(10, 50, 129, 61, 8);
    tab(expected, 12, 6);
    EXPECT_EQ(Frame(), expected.px);

    // An open first stretch means the background colour; so does colour 255.
    slider.SetRangeColors(SLIDER_TO_END, 3, SLIDER_TO_END, 5, SLIDER_TO_END, 7, SLIDER_TO_END, 0);
    slider.state |= SLIDER_SWAP_BEVEL << 16;
    expected.Fill(10, 50, 129, 61, 9);
    expected.Frame(10, 50, 129, 61, 8);
    tab(expected, 6, 12);
    EXPECT_EQ(Frame(), expected.px);
    slider.SetRangeColors(20, 255, SLIDER_TO_END, 3, SLIDER_TO_END, 3, SLIDER_TO_END, 3);
    EXPECT_EQ(slider.rangeColor[0], 9);
    EXPECT_TRUE(LogEntries().empty());
    slider.SetRangeColors(50, 1, 40, 2, 30, 3, 60, 4);
    EXPECT_EQ(LogEntries(), std::vector<std::string>({tvxtest::AssertLine("mwin", 4394),
                                                      tvxtest::AssertLine("mwin", 4399)}));
}

TEST_F(WindowTest, ScrollBarLaysOutAndTranslatesItsChildren)
{
    ScrollBar bar(&root, &sprites, 9);
    Place(bar, 100, 10, 12, 60);
    bar.SetOwner(&owner);
    auto box = [](MWin* w) { return std::vector<int>({w->x, w->y, w->width, w->height}); };
    EXPECT_EQ(std::vector({box(bar.firstButton), box(bar.secondButton), box(bar.slider)}),
              std::vector<std::vector<int>>({{0, 0, 12, 10}, {0, 50, 12, 10}, {0, 10, 12, 40}}));
    Click(105, 15);
    Click(105, 65);
    bar.SetSliderRange(5);
    Click(105, 50); // below the tab
    EXPECT_EQ(Take(), std::vector<std::string>({"8023:9 8024 0", "8023:9 8025 0", "8023:9 8027 0"}));

    bar.SetSize(60, 12);
    EXPECT_EQ(box(bar.secondButton), std::vector<int>({50, 0, 10, 12}));
    Click(105, 15);
    Click(155, 15);
    EXPECT_EQ(Take(), std::vector<std::string>({"8023:9 8028 0", "8023:9 8029 0"}));
    bar.SetButtonLength(4);
    bar.SetSize(20, 20);
    EXPECT_EQ(bar.state & 0xFF0000, SCROLL_VERTICAL << 16); // a square bar stands upright
    EXPECT_EQ(box(bar.slider), std::vector<int>({0, 4, 20, 12}));
}
