// ListBox: scrolling through its scroll bar, selection by pointer, and its
// lines pixel by pixel as the entry list's links are kept.
#include "support/mwin_fixture.h"

using namespace mwintest;

TEST_F(WindowTest, ListBoxScrollsAndSelects)
{
    ListBox list(&root, &memory, &sprites, 5);
    list.SetLineHeight(12);
    Place(list, 20, 10, 100, 100);
    list.SetOwner(&owner);
    EXPECT_EQ(std::make_pair(int(list.height), int(list.visibleLines)), std::make_pair(96, 8));
    for (unsigned long i = 0; i < 20; ++i)
        EXPECT_EQ(list.Add(const_cast<char*>(std::to_string(i).c_str()), i + 1, LISTBOX_APPEND), i);
    ScrollBar bar(&root, &sprites, 9);
    list.AssociateScrollBar(&bar);
    EXPECT_EQ(std::make_pair(int(list.maxTop), bar.slider->range), std::make_pair(12, 13u));

    const struct {
        unsigned short how;
        unsigned long value;
        int top;
    } scrolls[] = {
        {MWIN_PAGE_DOWN, 0, 8}, {MWIN_PAGE_DOWN, 0, 12}, {MWIN_LINE_DOWN, 0, 12}, {MWIN_DRAG_ENDED, 5, 5},
        {MWIN_PAGE_UP, 0, 0},   {MWIN_LINE_UP, 0, 0},    {MWIN_LINE_DOWN, 0, 1},  {MWIN_DRAGGING, 3, 3},
        {MWIN_LINE_LEFT, 0, 3}, // the horizontal arrows mean nothing to a list
    };
    for (const auto& s : scrolls) {
        bar.callback(&bar, static_cast<unsigned long>(MWIN_VALUE_CHANGED) << 16 | 2, s.how, s.value);
        EXPECT_EQ(std::make_pair(int(list.topIndex), bar.slider->position), std::make_pair(s.top, unsigned(s.top)))
            << std::hex << s.how;
    }

    Click(25, 40); // line 2 of those shown from 3
    ASSERT_NE(list.QuerySelected(), nullptr);
    EXPECT_EQ(list.QuerySelected()->handle, 6u);
    EXPECT_EQ(QueryKeyboardFocus(), &list);
    bar.callback(&bar, static_cast<unsigned long>(MWIN_VALUE_CHANGED) << 16 | 2, MWIN_DRAG_ENDED, 15);
    Click(25, 85); // below the last entry: nothing selected, but reported
    EXPECT_EQ(list.QuerySelected()->handle, 6u);
    EXPECT_EQ(Take(), std::vector<std::string>({"802f:5 0 0", "802f:5 0 0"}));
    list.SetSelectedByHandle(0);
    EXPECT_EQ(list.QuerySelected()->handle, 6u);
    list.SetSelectedByHandle(99);
    EXPECT_EQ(list.QuerySelected(), nullptr);
}

TEST_F(WindowTest, ListBoxShowsItsEntriesAsTheyAreLinked)
{
    assertionsExpected = true;
    MWin panel(&root); // placed through its parent
    panel.SetPosition(12, 6);
    ListBox list(&panel, &memory, &sprites, 5);
    list.SetLineHeight(12);
    list.SetFont(&fontDef);
    Place(list, 8, 4, 100, 40);
    list.SetBGColors(1, 2, 3, 4);
    list.SetTextColors(5, 6);
    const struct {
        const char* text;
        unsigned long flags, index;
    } adds[] = {{"ONE", LISTBOX_APPEND, 0}, // into an empty list: prepended
                {"TWO", LISTBOX_APPEND, 1}, {"SIX", LISTBOX_PREPEND, 0}, {"TEN", LISTBOX_APPEND, 3}};
    for (unsigned long i = 0; i < std::size(adds); ++i)
        EXPECT_EQ(list.Add(const_cast<char*>(adds[i].text), i + 1, adds[i].flags), adds[i].index);
    _ListBoxEntry* prepended = list.firstEntry;
    // ONE never learnt of the entry put before it, so it is taken for the head
    // and SIX drops out of the list.
    EXPECT_EQ(list.RemoveByHandle(1), ERR_OK);
    void* dropped = prepended;
    memory.Free(&dropped);
    list.SetSelectedByHandle(4);
    list.SetLineColor(2, 7, LISTBOX_DEFAULT_COLOR);
    Model expected;
    for (int i = 0, y = 10; i < 3; ++i, y += 12) {
        expected.Fill(20, y, 119, y + 11, i == 1 ? 3 : 1);
        expected.Frame(20, y, 119, y + 12, i == 1 ? 4 : 2); // one row into the next line
    }
    expected.Text(24, 13, "TWO", 7); // margin: the width of glyph 127; centred in the line
    expected.Text(24, 25, "TEN", 6);
    EXPECT_EQ(Frame(), expected.px);
    list.Clear();
    EXPECT_EQ(list.Add(const_cast<char*>("c"), 5, LISTBOX_APPEND), 0u);
    EXPECT_EQ(list.entryCount, 4); // the count goes on from before Clear
    EXPECT_TRUE(LogEntries().empty());
    EXPECT_EQ(list.Add(const_cast<char*>("x"), 6, 0), 0xFFFFFFFFu); // linked nowhere: refused
    EXPECT_EQ(LogEntries().size(), 1u);
}
