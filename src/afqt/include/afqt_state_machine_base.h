// Flat state machines: states with ids, each with an ordered list of events. run() is one tick: it evaluates the
// current state's events, makes at most one transition and runs the state that is then current.
//
// A transition calls the old state's exit, the event's action, the new state's entry. Results are 0 for success unless
// a comment says otherwise. Names are literals; they are kept, not copied. All building happens in init, at start-up; a
// tick takes no heap. One thread per machine.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace afqt {

class StateBase;
class StateMachineBase;

using StateId = uint8_t;
using EventId = uint8_t;
using TriggleEventId = uint8_t;
using StateBaseRef = StateBase&;
using StateMachineRef = StateMachineBase&;
using StateBaseSptr = std::shared_ptr<StateBase>;
using EventCallback = uint8_t (*)(StateBase&);  // non-zero: the event fires
using TransCallback = uint8_t (*)(StateBase&);

inline constexpr uint8_t InitStateId = 255;  // the start state; also "no state"
inline constexpr uint8_t StateNumMax = 254;  // entries a list may hold when one more is added
inline constexpr uint8_t EventNumMax = 255;  // events per state; as an id: no event
inline constexpr uint8_t InitListPos = 0;    // where the start state stands in every list

struct Event {
    Event(const char* name, EventId id, StateId target, EventCallback trigger, TransCallback action)
        : event_name_(name), event_id_(id), event_trans_sta_(target), event_callback_(trigger), trans_callback_(action)
    {
    }
    virtual ~Event() = default;

    const char* event_name_;
    uint8_t event_id_;  // its place in the list
    uint8_t event_trans_sta_;
    EventCallback event_callback_;
    TransCallback trans_callback_;  // may be null
};

using EventList = std::vector<std::shared_ptr<Event>>;
using StateList = std::vector<StateBaseSptr>;

class StateBase : public std::enable_shared_from_this<StateBase> {
public:
    StateBase(const char* name, StateId id, StateMachineRef owner);
    virtual ~StateBase() = default;
    virtual uint8_t init() = 0;   // once, when the machine is built; adds the state's events
    virtual uint8_t entry() = 0;  // made current by a transition
    virtual uint8_t run() = 0;    // every tick while current; the machine's result
    virtual uint8_t exit() = 0;   // left by a transition or by the machine's exit
    virtual uint8_t get_internal_state_flag() = 0;

    // Events are evaluated in the order they were added. 1 for a null trigger or for the 256th event.
    uint8_t add_event(const char* event_name, uint8_t event_trans_sta, EventCallback event_callback,
                      TransCallback trans_callback);
    // The first event that fires; the others are not evaluated. EventNumMax if none does.
    TriggleEventId run_event_list();
    // 1 for an unknown id. The action's own result is not looked at.
    uint8_t run_event_trans_callback(TriggleEventId id);
    // InitStateId for an unknown id.
    StateId get_event_trans_sta(TriggleEventId id) const;
    size_t get_event_list_size() const { return event_list_.size(); }

    StateMachineRef owner_base() { return owner_; }
    StateId get_state_id() const { return state_id_; }
    const char* get_state_name() const { return state_name_; }
    void set_err(uint8_t code) { err_code_ = code; }
    uint8_t get_err() const { return err_code_; }

private:
    const char* state_name_;
    EventList event_list_;
    StateId state_id_;
    EventId last_trig_event_id_ = 0;  // stays until the next event fires
    StateMachineRef owner_;           // outlives its states
    uint8_t err_code_ = 0;
};

class StateMachineBase : public std::enable_shared_from_this<StateMachineBase> {
public:
    explicit StateMachineBase(const char* name) : state_machine_name_(name) {}
    StateMachineBase(const StateMachineBase&) = delete;
    StateMachineBase& operator=(const StateMachineBase&) = delete;
    virtual ~StateMachineBase() = default;
    virtual uint8_t build() = 0;  // adds the states, then external events
    // Empty for an unknown id.
    virtual StateBaseSptr state_factory(StateId id, StateMachineRef owner) = 0;

    // Builds the machine. 1 when there are not `state_num` states, or what the first state that failed returned; do not
    // run it then.
    uint8_t init(StateId init_sta, uint8_t state_num);
    // 1 for an id that the factory does not know, or when the list is full.
    uint8_t add_state(StateId id);
    // Before the state's own events, hence stronger than they. Returns 0; with an unknown `state_id` the event joins
    // the start state, which is left at the first tick.
    uint8_t add_external_event(const char* event_name, StateId state_id, StateId event_trans_sta,
                               EventCallback event_callback, TransCallback trans_callback);

    uint8_t run();
    uint8_t exit();  // the current state's exit; it stays current
    // Back to the first state, without an exit or an entry.
    void reset_sta_machine();

    // Place in the list; 0 (the start state, no target of transitions), logged and printed, for an unknown id.
    uint8_t get_sta_from_list(uint8_t id) const;
    StateBaseRef get_curr_sta() { return *state_list_[cur_sta_index_]; }
    StateBaseRef get_sta_ref(StateId id) { return *state_list_[get_sta_from_list(id)]; }
    StateId get_curr_sta_id() const { return curr_sta_; }
    StateId get_init_state() const { return init_sta_; }
    void set_init_state(StateId id) { init_sta_ = id; }
    const char* get_name() const { return state_machine_name_; }
    void set_sm_err(uint8_t code) { sm_err_code_ = code; }
    uint8_t get_sm_err() const { return sm_err_code_; }

private:
    uint8_t init_states();
    void log_now_and_then() const;
    void follow_event(TriggleEventId event);
    void change_state(TriggleEventId event, StateId target, uint8_t position);

    StateList state_list_;
    const char* state_machine_name_;
    uint8_t state_num_ = 0;  // without the start state
    uint8_t cur_sta_index_ = 0;
    StateId init_sta_ = 0;
    StateId curr_sta_ = 0;
    StateId pre_sta_ = 0;
    uint8_t sm_err_code_ = 0;
};

// Where every machine starts; left on the first tick.
class StateInit0 : public StateBase {
public:
    explicit StateInit0(StateMachineRef owner) : StateBase("StateInit0", InitStateId, owner) {}
    uint8_t init() override;
    uint8_t entry() override { return 0; }
    uint8_t run() override;
    uint8_t exit() override { return 0; }
    uint8_t get_internal_state_flag() override { return 0; }

private:
    static uint8_t event_init_state(StateBase&) { return 1; }
};

}  // namespace afqt
