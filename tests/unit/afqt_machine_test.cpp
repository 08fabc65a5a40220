// The state machine framework, on a machine of its own.
#include "afqt/include/afqt_debugger.h"
#include "afqt/include/afqt_state_machine_base.h"
#include "afqt_stand.h"

using namespace afqt;
using testing::Contains;
using testing::Not;

namespace {

texts_t s_story;
bool s_fires[5];

uint8_t tells(StateBase& state, const std::string& what, uint8_t result = 1)
{
    s_story.push_back(std::string(state.get_state_name()) + " " + what);
    return result;
}

template <size_t N>
uint8_t fires(StateBase& state)
{
    return tells(state, "asks " + std::to_string(N), s_fires[N] ? 7 : 0);
}

uint8_t acts(StateBase& state)
{
    return tells(state, "acts");
}

class TalkingState : public StateBase {
public:
    using StateBase::StateBase;
    uint8_t init() override
    {
        if (get_state_id() == 3) {
            add_event("to B", 8, fires<0>, acts);
            add_event("to the start", 255, fires<1>, acts);
            add_event("to 77", 77, fires<2>, acts);
        }
        return tells(*this, "init", get_state_id() == 8 ? result_of_b : 0);
    }
    uint8_t entry() override { return tells(*this, "entry"); }
    uint8_t run() override { return tells(*this, "run", static_cast<uint8_t>(get_state_id() + 40)); }
    uint8_t exit() override { return tells(*this, "exit"); }
    uint8_t get_internal_state_flag() override { return 0; }

    static inline uint8_t result_of_b = 0;
};

// States 3 ("A") and 8 ("B"). From outside A may be entered anew; the event of the unknown state 9 comes to nothing.
class TalkingMachine : public StateMachineBase {
public:
    using StateMachineBase::StateMachineBase;
    uint8_t build() override
    {
        EXPECT_EQ(add_state(3) + add_state(8), 0);
        EXPECT_EQ(add_external_event("again", 3, 3, fires<3>, acts), 0);
        EXPECT_EQ(add_external_event("lost", 9, 8, fires<4>, acts), 0);
        return 0;
    }
    StateBaseSptr state_factory(StateId id, StateMachineRef owner) override
    {
        if (id != 3 && id != 8) return nullptr;
        return std::make_shared<TalkingState>(id == 3 ? "A" : "B", id, owner);
    }
};

class AfqtMachine : public AfqtStand {
protected:
    AfqtMachine()
    {
        during([] { afqt_debug_init(); });
    }
    static texts_t story() { return std::exchange(s_story, {}); }
    int init(TalkingMachine& of)
    {
        int result = -1;
        out = during([&] { result = of.init(3, 2); });
        return result;
    }
    int run(TalkingMachine& of)
    {
        int result = -1;
        out = during([&] { result = of.run(); });
        return result;
    }
    std::string out;
    TalkingMachine machine{"talker"};
};

}  // namespace

TEST_F(AfqtMachine, EventsGoByTheirOrderAndTransitionsHaveTheirs)
{
    ASSERT_EQ(init(machine), 0);
    EXPECT_EQ(
        out, "[talker] add ext event: again \r\n[talker] add ext event: lost \r\n[talker] can not find sta_id: 9 \r\n");
    EXPECT_THAT(story(), ElementsAre("A init", "B init"));
    EXPECT_THAT(
        logged(),
        ElementsAre("add_state: [talker] add state: A \r\n", "add_state: [talker] add state: B \r\n",
                    "add_event: [A] add event again \r\n", "get_sta_from_list: [talker] can not find sta_id: 9 \r\n",
                    "add_event: [StateInit0] add event lost \r\n", "init: [talker]state list len: 3, state num: 2\r\n",
                    "add_event: [StateInit0] add event event_init_state \r\n", "add_event: [A] add event to B \r\n",
                    "add_event: [A] add event to the start \r\n", "add_event: [A] add event to 77 \r\n",
                    "init: [talker] successful init \r\n"));
    s_fires[0] = s_fires[1] = s_fires[3] = true;  // not asked on the tick that enters A
    EXPECT_EQ(run(machine), 43);
    EXPECT_THAT(story(), ElementsAre("StateInit0 asks 4", "A entry", "A run"));
    EXPECT_THAT(logged(), ElementsAre("run: [talker][255][1]event trig \r\n", "run: 111 \r\n", "run: 222 \r\n"));
    run(machine);
    EXPECT_THAT(story(), ElementsAre("A asks 3", "A exit", "A acts", "A entry", "A run")) << "the outer event first";
    s_fires[3] = false;
    EXPECT_EQ(run(machine), 48);
    EXPECT_THAT(story(), ElementsAre("A asks 3", "A asks 0", "A exit", "A acts", "B entry", "B run"));
    EXPECT_THAT(logged(), Contains("run: [talker][3][1]event trig \r\n")) << "an event's id is its place";
    EXPECT_EQ(run(machine), 48);
    machine.reset_sta_machine();
    s_fires[0] = false;
    EXPECT_EQ(run(machine), 43);
    EXPECT_THAT(story(), ElementsAre("B run", "A asks 3", "A asks 0", "A asks 1", "A run")) << "no entry, no exit";
    EXPECT_THAT(logged(), ElementsAre("run: [talker][3][2]event trig \r\n", "run: [talker][3][2]trans sta error \r\n"))
        << "the start is no target";
    s_fires[1] = false;
    s_fires[2] = true;
    run(machine);
    EXPECT_EQ(out, "[talker] can not find sta_id: 77 \r\n");
    EXPECT_THAT(logged(), ElementsAre("run: [talker][3][3]event trig \r\n",
                                      "get_sta_from_list: [talker] can not find sta_id: 77 \r\n",
                                      "run: [talker][3][3]trans sta error \r\n"));
    EXPECT_THAT(story(), ElementsAre("A asks 3", "A asks 0", "A asks 1", "A asks 2", "A run"));
}

TEST_F(AfqtMachine, SaysWhyItCannotBeBuilt)
{
    for (const uint8_t states : bytes_t{1, 3})
        during([&] { EXPECT_EQ(machine.init(3, states), 1); });
    EXPECT_THAT(story(), IsEmpty());
    EXPECT_EQ(logged().back(), "init: [talker] state num != state_list size \r\n");
    TalkingState::result_of_b = 9;
    EXPECT_EQ(init(machine), 9);
    EXPECT_EQ(logged().back(), "init: [B] init fail\r\n");
    EXPECT_EQ(machine.add_state(4), 1) << "no state of ours";
    StateBase& a = machine.get_sta_ref(3);
    EXPECT_EQ(a.add_event("none", 8, nullptr, nullptr), 1);
    while (a.get_event_list_size() < 255)
        ASSERT_EQ(a.add_event("many", 8, fires<0>, nullptr), 0);
    EXPECT_EQ(a.add_event("one too many", 8, fires<0>, nullptr), 1);
    int added = 0;
    during([&] {
        while (machine.add_state(3) == 0)
            ASSERT_LE(++added, 255);
    });
    EXPECT_EQ(added, 252) << "255 with A, B and the start state";
}

TEST_F(AfqtMachine, OneCounterOfTicksServesAllMachines)
{
    TalkingMachine other("other");
    ASSERT_EQ(init(machine) + init(other), 0);
    for (int i = 0; i < 99; ++i)
        run(i % 2 == 0 ? machine : other);
    EXPECT_THAT(logged(), Not(Contains(HasSubstr("][3] \r\n"))));
    run(other);
    EXPECT_THAT(logged(), ElementsAre("run: [other][3] \r\n"));
}
