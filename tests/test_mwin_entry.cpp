// EntryField: editing keys sent to the focus holder in every mode, cursor
// placement by pointer, and the scrolled text with its cursor.
#include "support/mwin_fixture.h"

using namespace mwintest;

TEST_F(WindowTest, EntryFieldEditsByKey)
{
    EntryField field(&root, &memory, &sprites, 6);
    EXPECT_EQ(std::string(field.QueryText()), "Another Test String.");
    EXPECT_EQ(field.QueryCursorPos(), 0u);
    field.SetOwner(&owner);
    field.SwitchKeyboardFocus();
    enum { END = ENTRY_KEY_END, HOME = ENTRY_KEY_HOME, LEFT = ENTRY_KEY_LEFT, RIGHT = ENTRY_KEY_RIGHT };
    enum { BACK = ENTRY_KEY_BACKSPACE, DEL = ENTRY_KEY_DELETE, INS = ENTRY_KEY_INSERT, ENTER = ENTRY_KEY_ENTER };
    const std::string changed = "802d:6 0 0", entered = "802c:6 0 0";
    const struct {
        const char* text;
        unsigned long length; // 0: the default
        unsigned long flags;
        std::vector<unsigned short> keys;
        const char* after;
        unsigned long cursor;
        std::vector<std::string> heard;
    } cases[] = {
        {"abc", 0, 0, {END, 'd'}, "abcd", 4, {changed}},
        {"abc", 0, 0, {HOME, RIGHT, INS, 'X', 'Y', 'Z'}, "aXYZ", 4, {changed, changed, changed}},
        {"", 0, ENTRY_DIGITS_ONLY, {'-', '5', '+', '-', 'a', '7'}, "-57", 3, {changed, changed, changed}},
        {"abcde", 5, 0, {END, 'f'}, "abcde", 5, {}}, // full
        {"abcde", 5, 0, {HOME, RIGHT, RIGHT, 'X'}, "abXcd", 3, {changed}},
        {"ab", 0, 0, {HOME, BACK, END, DEL, LEFT, BACK}, "b", 0, {changed, changed, changed}},
        {"ab", 0, 0, {0x1F, RIGHT, RIGHT, RIGHT, ENTER, 0x102}, "ab", 2, {entered}},
        {"ab", 0, ENTRY_READ_ONLY, {'x', BACK, ENTER}, "ab", 0, {}},
    };
    for (const auto& c : cases) {
        field.SetTextLength(c.length != 0 ? c.length : 299);
        field.SetText(const_cast<char*>(c.text));
        field.insertMode = 1;
        field.SetNumericOnly(c.flags & ENTRY_DIGITS_ONLY);
        field.SetReadOnly(c.flags & ENTRY_READ_ONLY);
        for (unsigned short key : c.keys)
            Key(key);
        EXPECT_EQ(std::string(field.QueryText()), c.after) << c.text;
        EXPECT_EQ(field.QueryCursorPos(), c.cursor) << c.text;
        EXPECT_EQ(Take(), c.heard) << c.text;
    }
    field.SetCursorPos(7);
    EXPECT_EQ(field.QueryCursorPos(), 2u);
}

TEST_F(WindowTest, EntryFieldCursorFollowsPointerAndShowsItsText)
{
    EntryField field(&root, &memory, &sprites, 6);
    field.SetFont(&fontDef);
    Place(field, 10, 10, 60, 16);
    field.SetText(const_cast<char*>("abcdefgh"));
    const struct {
        int x; // relative to the field
        unsigned long cursor;
    } clicks[] = {{2, 0}, {13, 2}, {16, 2}, {17, 3}, {55, 8}};
    for (const auto& c : clicks) {
        Mouse(MWIN_MOVE, 10 + c.x, 15);
        Mouse(MWIN_CLICK, 10 + c.x, 15);
        EXPECT_EQ(field.QueryCursorPos(), c.cursor) << c.x;
    }
    EXPECT_EQ(QueryKeyboardFocus(), &field);

    // A long text with the cursor at its end shows its tail, cursor under the end.
    field.SetText(const_cast<char*>("0123456789ABCDEFGHIJ"));
    field.SetCursorColor(9);
    field.ActivateBorder(7, 1);
    Key(ENTRY_KEY_END);
    Model expected;
    expected.Fill(10, 10, 69, 25, 2);
    expected.Frame(10, 10, 69, 25, 7);
    expected.Text(14, 14, "89ABCDEFGHIJ", 15);
    expected.Fill(61, 20, 66, 20, 9);
    EXPECT_EQ(Frame(), expected.px);
    EXPECT_EQ(field.firstVisible, 8u);
    field.SetReadOnly(1); // no cursor
    expected.Fill(61, 20, 66, 20, 2);
    EXPECT_EQ(Frame(), expected.px);
}
