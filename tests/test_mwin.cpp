// The window tree: repainting by frame counts, mouse routing through the
// hot-spot lists with capture and hiding, keyboard focus, and misuse.
#include "support/mwin_fixture.h"
#include "support/pictures.h"

#include <functional>

using namespace mwintest;

namespace {

// A window that writes its name into a shared log when painted ('!' when the
// caller of Update passed 0x40).
struct Painted : MWin {
    Painted(MWin* parent, char name, std::string* log) : MWin(parent), name(name), log(log)
    {
        paint = static_cast<PaintRoutine>(&Painted::Note);
    }
    void Note() { *log += std::string(1, name) + (state & MWIN_STATE_UPDATE_40 ? "!" : ""); }
    char name;
    std::string* log;
};

void NoteMouseSet(unsigned long set)
{
    heard.push_back("set " + std::to_string(set));
}

} // namespace

TEST_F(WindowTest, UpdatePaintsParentsFirstForAsManyFramesAsAsked)
{
    std::string log;
    Painted a(&root, 'a', &log), b(&root, 'b', &log), c(&a, 'c', &log);
    EXPECT_EQ(std::vector<int>({a.width, a.height, a.refreshCount, a.hotSpot.right, a.hotSpot.bottom}),
              std::vector<int>({2, 2, 2, 0, 0}));
    EXPECT_EQ(RefreshNeeded(), 1); // new windows ask for frames
    const std::function<void()> nop = [] {};
    const struct {
        std::function<void()> change;
        unsigned long flags;
        const char* painted;
    } frames[] = {
        {nop, 0, "bac"}, {nop, 0, "bac"}, {nop, 0, ""}, // newest sibling first, a parent before its children
        {[&] { a.Refresh(); }, 0, "a"}, {nop, 0, "a"}, {nop, 0, ""},
        {[&] { a.RefreshChildren(1); }, 0, "c"}, {nop, 0, "c"}, {nop, 0, ""},
        {[&] { c.state |= MWIN_STATE_ALWAYS; }, 0, "c"}, {nop, MWIN_UPDATE_FORCE | MWIN_UPDATE_40, "b!a!c!"},
        {[&] { a.Hide(0); }, MWIN_UPDATE_FORCE, "b"}, {[&] { a.Unhide(); }, 0, "ac"},
        {[&] { c.state &= ~MWIN_STATE_ALWAYS; }, 0, "ac"}, {nop, 0, ""},
    };
    for (size_t i = 0; i < std::size(frames); ++i) {
        frames[i].change();
        log.clear();
        root.Update(frames[i].flags);
        EXPECT_EQ(log, frames[i].painted) << "frame " << i;
    }
    SetRefreshNeeded(0);
    a.Hide(0);
    a.Refresh();
    EXPECT_EQ(RefreshNeeded(), 0); // a hidden window asks for no frame
    b.Refresh();
    EXPECT_EQ(RefreshNeeded(), 1);
}

TEST_F(WindowTest, MouseEventsReachTheDeepestWindowUnderThePointer)
{
    Recorder a(&root, 1, 10, 10, 20, 20), b(&root, 2, 20, 20, 20, 20), c(&a, 3, 2, 2, 5, 5);
    b.hotSpot.mouseSet = 5;
    HotSpotSetMouseSet(NoteMouseSet);
    const struct {
        std::function<void()> change;
        unsigned short code;
        int x, y;
        unsigned long result;
        std::vector<std::string> heard;
    } events[] = {
        {[] {}, MWIN_MOVE, 5, 5, 0, {}},
        {[] {}, MWIN_MOVE, 35, 35, 0, {"8001:2 15,15", "set 5", "8004:2 15,15"}},
        {[] {}, MWIN_MOVE, 25, 25, 0, {"set 0", "8004:2 5,5"}}, // every move inside resets the set
        {[] {}, MWIN_MOVE, 12, 12, 0,
         {"8002:2 -8,-8", "8001:1 2,2", "set 0", "8001:3 0,0", "8004:3 0,0", "8004:1 2,2"}},
        {[] {}, MWIN_PRESS, 12, 12, 1, {"8012:3 0,0"}}, // the child takes it: a hears nothing
        {[] {}, MWIN_LEAVE, 0, 0, 0, {"8002:3 0,0", "8002:1 0,0"}},
        {[] {}, MWIN_PRESS, 50, 50, 0, {}},
        {[&] { EXPECT_EQ(c.LockFocus(), nullptr); }, MWIN_MOVE, 100, 100, 0, {"8005:3 88,88", "8005:1 90,90"}},
        {[] {}, MWIN_RELEASE, 100, 100, 1, {"800f:3 88,88"}},
        {[] {}, MWIN_RELEASE, 14, 14, 1, {"800e:3 2,2"}},
        {[&] { c.UnLockFocus(); }, MWIN_MOVE, 100, 100, 0, {"8002:3 0,0", "8002:1 90,90"}},
        {[] {}, MWIN_MOVE, 13, 13, 0, {"8001:1 3,3", "8001:3 1,1", "8004:3 1,1", "8004:1 3,3"}},
        {[&] { // hiding leaves, lets a chained descendant's lock go and uncovers what lies below
             a.hotSpot.spotFlags |= HOTSPOT_CHAINED;
             c.hotSpot.spotFlags |= HOTSPOT_CHAINED;
             c.LockFocus();
             a.Hide(1);
             EXPECT_EQ(a.LockFocus(), nullptr);
         },
         MWIN_MOVE, 25, 25, 0, {"8002:3 0,0", "8002:1 0,0", "8001:2 5,5", "set 5", "8004:2 5,5"}},
        {[&] { a.Unhide(); }, MWIN_MOVE, 12, 12, 0,
         {"8002:2 -8,-8", "8001:1 2,2", "set 0", "8001:3 0,0", "8004:3 0,0", "8004:1 2,2"}},
    };
    for (size_t i = 0; i < std::size(events); ++i) {
        events[i].change();
        EXPECT_EQ(Mouse(events[i].code, events[i].x, events[i].y), events[i].result) << "event " << i;
        EXPECT_EQ(Take(), events[i].heard) << "event " << i;
    }
    EXPECT_TRUE(root.state & MWIN_STATE_REFRESH_CHILDREN); // the hidden window's area is to be redrawn

    // A list without a handler still follows the mouse and takes button events.
    _HotSpot1 spot{10, 19, 0, 9, 0, 9, 0, nullptr, 0, {}, nullptr, nullptr};
    HotSpotList1 list;
    list.ActivateList(&spot, nullptr, nullptr);
    EXPECT_EQ(list.ProcessMouseInput(15, 5, MWIN_PRESS), 0u);
    list.ProcessMouseInput(19, 9, MWIN_MOVE); // edges are inclusive
    EXPECT_EQ(list.ProcessMouseInput(20, 9, MWIN_PRESS), 1u);
}

TEST_F(WindowTest, KeyboardFocusMovesWithMessages)
{
    Recorder a(&root, 1, 0, 0, 5, 5), b(&root, 2, 0, 0, 5, 5);
    MWin silent(&root);
    const struct {
        MWin* to; // null: cleared
        MWin* former;
        std::vector<std::string> heard;
    } steps[] = {
        {&a, nullptr, {"8030:1 0 0"}},
        {&b, &a, {"8031:1 0 0", "8030:2 0 0"}},
        {&b, &b, {"8031:2 0 0", "8030:2 0 0"}},
        {&silent, &b, {"8031:2 0 0"}},
        {&a, &silent, {"8030:1 0 0"}},
        {nullptr, nullptr, {"8031:1 0 0"}},
    };
    for (const auto& step : steps) {
        if (step.to != nullptr)
            EXPECT_EQ(step.to->SwitchKeyboardFocus(), step.former);
        else
            root.ClearKeyboardFocus();
        EXPECT_EQ(QueryKeyboardFocus(), step.to);
        EXPECT_EQ(Take(), step.heard);
        if (step.to != nullptr) {
            EXPECT_EQ((step.to->state & MWIN_STATE_FOCUS) != 0, step.to->callback != nullptr);
        }
    }
    EXPECT_FALSE(a.state & MWIN_STATE_FOCUS);
}

TEST_F(WindowTest, MisuseIsReportedAndSurvived)
{
    assertionsExpected = true;
    root.AdoptChild(nullptr);
    MWin* parent = new MWin(&root);
    MWin* child = new MWin(parent);
    child->SetSize(0, 5);
    EXPECT_EQ(child->width, 2);
    child->SwitchKeyboardFocus();
    delete parent; // children are let go as roots
    EXPECT_EQ(child->parent, nullptr);
    delete child;
    EXPECT_EQ(QueryKeyboardFocus(), nullptr);
    EXPECT_EQ(LogEntries().size(), 3u);

    HotSpotList1 list; // locked with no hot spot: it unlocks itself
    list.listFlags = HOTSPOT_LIST_LOCKED;
    EXPECT_EQ(list.ProcessMouseInput(0, 0, MWIN_MOVE) + list.QueryFocusLocked(), 1u);
    EXPECT_TRUE(sprtest::IsAssertFrom(LogEntries().at(3), "hotspot"));

    // Widgets without their collaborators, and a list box without a line height.
    DebugInit();
    PushButton button(&root, nullptr, 1);
    Slider slider(&root, nullptr, 2);
    ScrollBar bar(&root, nullptr, 3); // its own and its three children's
    EntryField field(&root, nullptr, nullptr, 4);
    StaticText label(&root, nullptr, nullptr, 5, 0);
    ListBox list2(&root, &memory, &sprites, 7);
    list2.SetSize(50, 50);
    label.SetText(const_cast<char*>("no allocator"));
    EXPECT_EQ(field.QueryText(), nullptr);
    EXPECT_EQ(field.EditText('x'), 0u);
    EXPECT_EQ(ListBoxCallback(&list2, MWIN_PRESS << 16, 0, 0), 1u);
    Frame(); // a slider too small for its tab draws what the canvas lets it
    const auto log = LogEntries();
    EXPECT_EQ(std::vector<std::string>(log.begin() + 1, log.begin() + 3),
              std::vector<std::string>({tvxtest::AssertLine("mwin", 3865), tvxtest::AssertLine("mwin", 2334)}));
    EXPECT_EQ(std::count_if(log.begin(), log.end(), [](auto& line) { return sprtest::IsAssertFrom(line, "mwin"); }),
              11);
}
