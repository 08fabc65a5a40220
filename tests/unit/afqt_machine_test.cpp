// The state machine framework, on a machine of its own.
#include "afqt/include/afqt_debugger.h"
#include "afqt/include/afqt_state_machine_base.h"
#include "afqt_stand.h"

using namespace afqt;
using testing::Contains;
using testing::ElementsAreArray;
using testing::Not;

namespace {

texts_t s_story;
bool s_fires[4];

template <size_t N>
uint8_t fires(StateBase& state)
{
    s_story.push_back(std::string(state.get_state_name()) + " asks " + std::to_string(N));
    return s_fires[N] ? 7 : 0;
}

uint8_t acts(StateBase& state)
{
    s_story.push_back(std::string(state.get_state_name()) + " acts");
    return 1;
}

struct wish_t {
    StateId target;
    EventCallback trigger;
    TransCallback action = nullptr;
};

class TalkingState : public StateBase {
public:
    TalkingState(const char* name, StateId id, StateMachineRef owner, std::vector<wish_t> events, uint8_t init_result)
        : StateBase(name, id, owner), events_(std::move(events)), init_result_(init_result)
    {
    }
    uint8_t init() override
    {
        for (const wish_t& event : events_)
            add_event("own", event.target, event.trigger, event.action);
        return says("init", init_result_);
    }
    uint8_t entry() override { return says("entry", 1); }
    uint8_t run() override { return says("run", static_cast<uint8_t>(get_state_id() + 40)); }
    uint8_t exit() override { return says("exit", 1); }
    uint8_t get_internal_state_flag() override { return 0; }

private:
    uint8_t says(const char* what, uint8_t result)
    {
        s_story.push_back(std::string(get_state_name()) + " " + what);
        return result;
    }
    std::vector<wish_t> events_;
    uint8_t init_result_;
};

// States 3 ("A") and 8 ("B").
class TalkingMachine : public StateMachineBase {
public:
    using StateMachineBase::StateMachineBase;
    uint8_t build() override
    {
        for (const StateId id : adds)
            refused += add_state(id);
        for (const wish_t& event : external)
            EXPECT_EQ(add_external_event("outer", external_at, event.target, event.trigger, event.action), 0);
        return build_result;
    }
    StateBaseSptr state_factory(StateId id, StateMachineRef owner) override
    {
        if (id == 3) return std::make_shared<TalkingState>("A", id, owner, of_a, 0);
        if (id == 8) return std::make_shared<TalkingState>("B", id, owner, of_b, b_init);
        return nullptr;
    }

    std::vector<StateId> adds = {3, 8};
    std::vector<wish_t> of_a, of_b, external;
    StateId external_at = 3;
    uint8_t b_init = 0;
    uint8_t build_result = 0;
    int refused = 0;
};

class AfqtMachine : public AfqtStand {
protected:
    AfqtMachine()
    {
        during([] { afqt_debug_init(); });
    }
    static texts_t story() { return std::exchange(s_story, {}); }
    uint8_t init(TalkingMachine& of, uint8_t states = 2)
    {
        uint8_t result = 0;
        out = during([&] { result = of.init(3, states); });
        return result;
    }
    uint8_t run(TalkingMachine& of)
    {
        uint8_t result = 0;
        out = during([&] { result = of.run(); });
        return result;
    }
    std::string out;
    std::shared_ptr<TalkingMachine> machine = std::make_shared<TalkingMachine>("talker");
};

}  // namespace

TEST_F(AfqtMachine, EventsGoByTheirOrderAndTransitionsHaveTheirs)
{
    machine->of_a = {{8, fires<0>, acts}, {3, fires<1>}};
    machine->of_b = {{3, fires<2>}};
    machine->external = {{3, fires<3>, acts}};
    ASSERT_EQ(init(*machine), 0);
    EXPECT_EQ(out, "[talker] add ext event: outer \r\n");
    EXPECT_THAT(story(), ElementsAre("A init", "B init"));
    EXPECT_THAT(logged(),
                ElementsAre("add_state: [talker] add state: A \r\n", "add_state: [talker] add state: B \r\n",
                            "add_event: [A] add event outer \r\n", "init: [talker]state list len: 3, state num: 2\r\n",
                            "add_event: [StateInit0] add event event_init_state \r\n",
                            "add_event: [A] add event own \r\n", "add_event: [A] add event own \r\n",
                            "add_event: [B] add event own \r\n", "init: [talker] successful init \r\n"));
    EXPECT_EQ(machine->get_curr_sta_id(), 255);

    s_fires[0] = s_fires[1] = s_fires[3] = true;  // not asked on the tick that enters A
    EXPECT_EQ(run(*machine), 43);
    EXPECT_THAT(story(), ElementsAre("A entry", "A run"));
    EXPECT_THAT(logged(), ElementsAre("run: [talker][255][0]event trig \r\n", "run: 111 \r\n", "run: 222 \r\n"));
    run(*machine);
    EXPECT_THAT(story(), ElementsAre("A asks 3", "A exit", "A acts", "A entry", "A run")) << "the outer event first";
    s_fires[3] = false;
    EXPECT_EQ(run(*machine), 48);
    EXPECT_THAT(story(), ElementsAre("A asks 3", "A asks 0", "A exit", "A acts", "B entry", "B run"));
    EXPECT_THAT(logged(), Contains("run: [talker][3][1]event trig \r\n")) << "an event's id is its place";
    EXPECT_EQ(run(*machine), 48);
    EXPECT_THAT(story(), ElementsAre("B asks 2", "B run"));

    StateBase& b = machine->get_curr_sta();
    EXPECT_EQ(b.run_event_list(), 255);
    EXPECT_EQ(b.get_event_trans_sta(0), 3);
    EXPECT_EQ(b.get_event_trans_sta(1), 255);
    EXPECT_EQ(b.run_event_trans_callback(0), 0) << "no action";
    EXPECT_EQ(b.run_event_trans_callback(1), 1);
    story();
    EXPECT_EQ(machine->exit(), 0);
    EXPECT_EQ(machine->get_curr_sta_id(), 8);
    machine->reset_sta_machine();
    s_fires[0] = s_fires[1] = false;
    EXPECT_EQ(run(*machine), 43);
    EXPECT_THAT(story(), ElementsAre("B exit", "A asks 3", "A asks 0", "A asks 1", "A run")) << "no entry";
}

TEST_F(AfqtMachine, StaysWhereItIsWhenTheTargetIsNoState)
{
    machine->of_a = {{255, fires<0>, acts}, {77, fires<1>, acts}};
    machine->external_at = 9;  // unknown: the event comes to nothing
    machine->external = {{8, fires<2>}};
    ASSERT_EQ(init(*machine), 0);
    EXPECT_THAT(out, HasSubstr("[talker] can not find sta_id: 9 \r\n"));
    EXPECT_THAT(logged(), Contains("get_sta_from_list: [talker] can not find sta_id: 9 \r\n"));
    run(*machine);
    logged();
    s_fires[0] = s_fires[2] = true;
    story();
    run(*machine);
    EXPECT_THAT(logged(), ElementsAre("run: [talker][3][0]event trig \r\n", "run: [talker][3][0]trans sta error \r\n"));
    EXPECT_THAT(story(), ElementsAre("A asks 0", "A run"));
    s_fires[0] = false;
    s_fires[1] = true;
    run(*machine);
    EXPECT_EQ(out, "[talker] can not find sta_id: 77 \r\n");
    EXPECT_THAT(logged(), ElementsAre("run: [talker][3][1]event trig \r\n",
                                      "get_sta_from_list: [talker] can not find sta_id: 77 \r\n",
                                      "run: [talker][3][1]trans sta error \r\n"));
    EXPECT_THAT(story(), ElementsAre("A asks 0", "A asks 1", "A run"));
    EXPECT_EQ(machine->get_sta_from_list(8), 2);
    EXPECT_EQ(machine->get_sta_ref(8).get_state_id(), 8);
}

TEST_F(AfqtMachine, SaysWhyItCannotBeBuilt)
{
    TalkingMachine miscounted("one more");
    EXPECT_EQ(init(miscounted, 3), 1);
    EXPECT_THAT(story(), IsEmpty());
    texts_t lines = logged();
    EXPECT_THAT(texts_t(lines.end() - 2, lines.end()),
                ElementsAre("init: [one more]state list len: 3, state num: 3\r\n",
                            "init: [one more] state num != state_list size \r\n"));

    TalkingMachine unknown("unknown");
    unknown.adds = {3, 4, 8};
    unknown.build_result = 5;  // logged, and that is all
    EXPECT_EQ(init(unknown), 0);
    EXPECT_EQ(unknown.refused, 1);
    EXPECT_THAT(logged(), Contains("init: [unknown] add state error \r\n"));
    EXPECT_THAT(story(), ElementsAre("A init", "B init"));

    TalkingMachine failing("failing");
    failing.adds = {8, 3};
    failing.b_init = 9;
    EXPECT_EQ(init(failing), 9);
    EXPECT_THAT(story(), ElementsAre("B init")) << "those behind are left alone";
    EXPECT_EQ(logged().back(), "init: [B] init fail\r\n");

    TalkingMachine full("full");
    full.adds.assign(255, 3);
    EXPECT_EQ(init(full, 254), 0) << "255 with the start state";
    EXPECT_EQ(full.refused, 1);
    StateBase& a = full.get_sta_ref(3);
    EXPECT_EQ(a.add_event("none", 8, nullptr, nullptr), 1);
    for (int i = 0; i < 255; ++i)
        EXPECT_EQ(a.add_event("many", 8, fires<0>, nullptr), 0) << i;
    EXPECT_EQ(a.add_event("many", 8, fires<0>, nullptr), 1);
    EXPECT_EQ(a.get_event_list_size(), 255u);
}

TEST_F(AfqtMachine, OneCounterOfTicksServesAllMachines)
{
    TalkingMachine other("other");
    ASSERT_EQ(init(*machine), 0);
    ASSERT_EQ(init(other), 0);
    for (int i = 0; i < 49; ++i) {
        run(*machine);
        run(other);
    }
    run(*machine);
    EXPECT_THAT(logged(), Not(Contains(HasSubstr("][3] \r\n"))));
    run(other);
    EXPECT_THAT(logged(), ElementsAre("run: [other][3] \r\n"));
    for (int i = 0; i < 100; ++i)
        run(*machine);
    EXPECT_THAT(logged(), ElementsAre("run: [talker][3] \r\n"));
}
