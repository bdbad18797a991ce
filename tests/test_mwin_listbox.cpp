// ListBox: scrolling through its scroll bar, selection by pointer, the
// entry list's links as they are kept, and its lines pixel by pixel.
#include "support/mwin_fixture.h"

using namespace mwintest;

TEST_F(WindowTest, ListBoxScrollsAndSelects)
{
    Recorder owner(nullptr, 50);
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
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(WindowTest, ListBoxEntriesKeepTheirLinksAsTheyWere)
{
    ListBox list(&root, &memory, &sprites, 5);
    auto texts = [&] {
        std::vector<std::string> shown;
        for (_ListBoxEntry* e = list.firstEntry; e != nullptr; e = e->nextEntry)
            shown.emplace_back(e->entryText);
        return shown;
    };
    EXPECT_EQ(list.Add(const_cast<char*>("a"), 1, LISTBOX_APPEND), 0u); // into an empty list: prepended
    EXPECT_EQ(list.Add(const_cast<char*>("b"), 2, LISTBOX_APPEND), 1u);
    EXPECT_EQ(list.Add(const_cast<char*>("z"), 3, LISTBOX_PREPEND), 0u);
    _ListBoxEntry* prepended = list.firstEntry;
    EXPECT_EQ(texts(), std::vector<std::string>({"z", "a", "b"}));
    EXPECT_EQ(list.ChangeText(const_cast<char*>("bee"), 2), ERR_OK);
    // "a" never learnt of the entry before it, so it is taken for the head.
    EXPECT_EQ(list.RemoveByHandle(1), ERR_OK);
    EXPECT_EQ(std::make_pair(texts(), int(list.entryCount)), std::make_pair(std::vector<std::string>({"bee"}), 2));
    void* dropped = prepended;
    memory.Free(&dropped);
    list.Clear();
    EXPECT_EQ(list.Add(const_cast<char*>("c"), 4, LISTBOX_APPEND), 0u);
    EXPECT_EQ(list.entryCount, 3); // the count goes on from before Clear
    EXPECT_TRUE(LogEntries().empty());
    EXPECT_EQ(list.Add(const_cast<char*>("x"), 5, 0), 0xFFFFFFFFu); // linked nowhere: refused
    EXPECT_EQ(LogEntries().size(), 1u);
}

TEST_F(WindowTest, ListBoxLines)
{
    MWin panel(&root); // placed through its parent
    panel.SetPosition(12, 6);
    ListBox list(&panel, &memory, &sprites, 5);
    list.SetLineHeight(12);
    list.SetFont(&fontDef);
    Place(list, 8, 4, 100, 40);
    list.SetBGColors(1, 2, 3, 4);
    list.SetTextColors(5, 6);
    list.Add(const_cast<char*>("ONE"), 1, LISTBOX_APPEND);
    list.Add(const_cast<char*>("TWO"), 2, LISTBOX_APPEND);
    list.SetSelectedByHandle(2);
    list.SetLineColor(1, 7, LISTBOX_DEFAULT_COLOR);
    // Each line's outline reaches one row into the next line.
    Model expected;
    for (int i = 0, y = 10; i < 3; ++i, y += 12) {
        expected.Fill(20, y, 119, y + 11, i == 1 ? 3 : 1);
        expected.Frame(20, y, 119, y + 12, i == 1 ? 4 : 2);
    }
    expected.Text(24, 13, "ONE", 7); // margin: the width of glyph 127; centred in the line
    expected.Text(24, 25, "TWO", 6);
    EXPECT_EQ(Frame(), expected.px);
    EXPECT_TRUE(LogEntries().empty());
}
