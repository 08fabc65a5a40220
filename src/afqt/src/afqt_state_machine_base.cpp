#include "afqt/include/afqt_state_machine_base.h"

#include <cstdio>

#include "afqt/include/afqt_debugger.h"

namespace afqt {

static constexpr uint8_t LOG_EVERY_TICKS = 100;

StateBase::StateBase(const char* name, StateId id, StateMachineRef owner)
    : state_name_(name), state_id_(id), owner_(owner)
{
}

uint8_t StateBase::add_event(const char* event_name, uint8_t event_trans_sta, EventCallback event_callback,
                             TransCallback trans_callback)
{
    if (event_callback == nullptr || event_list_.size() >= EventNumMax) return 1;
    const auto id = static_cast<EventId>(event_list_.size());
    auto event = std::make_shared<Event>(event_name, id, event_trans_sta, event_callback, trans_callback);
    _afqt_log(__func__, "[%s] add event %s \r\n", state_name_, event_name);
    event_list_.push_back(std::move(event));
    return 0;
}

TriggleEventId StateBase::run_event_list()
{
    for (const auto& event : event_list_) {
        if (event->event_callback_(*this) == 0) continue;
        last_trig_event_id_ = event->event_id_;
        return last_trig_event_id_;
    }
    return EventNumMax;
}

uint8_t StateBase::run_event_trans_callback(TriggleEventId id)
{
    if (id >= event_list_.size()) return 1;
    const TransCallback action = event_list_[id]->trans_callback_;
    if (action != nullptr) action(*this);
    return 0;
}

StateId StateBase::get_event_trans_sta(TriggleEventId id) const
{
    return id < event_list_.size() ? event_list_[id]->event_trans_sta_ : InitStateId;
}

uint8_t StateMachineBase::init(StateId init_sta, uint8_t state_num)
{
    state_num_ = state_num;
    init_sta_ = init_sta;
    state_list_.clear();
    state_list_.push_back(std::make_shared<StateInit0>(*this));
    if (build() != 0) _afqt_log(__func__, "[%s] add state error \r\n", state_machine_name_);

    const auto list_size = static_cast<int>(state_list_.size());
    _afqt_log(__func__, "[%s]state list len: %d, state num: %d\r\n", state_machine_name_, list_size, state_num_);
    if (list_size - 1 != state_num_) {
        _afqt_log(__func__, "[%s] state num != state_list size \r\n", state_machine_name_);
        return 1;
    }
    const uint8_t failed = init_states();
    if (failed != 0) return failed;

    curr_sta_ = InitStateId;
    cur_sta_index_ = get_sta_from_list(InitStateId);
    _afqt_log(__func__, "[%s] successful init \r\n", state_machine_name_);
    return 0;
}

uint8_t StateMachineBase::init_states()
{
    for (const auto& state : state_list_) {
        const uint8_t result = state->init();
        if (result == 0) continue;
        _afqt_log("init", "[%s] init fail\r\n", state->get_state_name());
        return result;
    }
    return 0;
}

uint8_t StateMachineBase::add_state(StateId id)
{
    StateBaseSptr state = state_factory(id, *this);
    if (state == nullptr || state_list_.size() > StateNumMax) return 1;
    _afqt_log(__func__, "[%s] add state: %s \r\n", state_machine_name_, state->get_state_name());
    state_list_.push_back(std::move(state));
    return 0;
}

uint8_t StateMachineBase::add_external_event(const char* event_name, StateId state_id, StateId event_trans_sta,
                                             EventCallback event_callback, TransCallback trans_callback)
{
    printf("[%s] add ext event: %s \r\n", state_machine_name_, event_name);
    get_sta_ref(state_id).add_event(event_name, event_trans_sta, event_callback, trans_callback);
    return 0;
}

uint8_t StateMachineBase::get_sta_from_list(uint8_t id) const
{
    for (size_t i = 0; i < state_list_.size(); ++i) {
        if (state_list_[i]->get_state_id() == id) return static_cast<uint8_t>(i);
    }
    _afqt_log(__func__, "[%s] can not find sta_id: %d \r\n", state_machine_name_, id);
    printf("[%s] can not find sta_id: %d \r\n", state_machine_name_, id);
    return InitListPos;
}

// Counts the ticks of all machines together.
void StateMachineBase::log_now_and_then() const
{
    static uint8_t s_ticks = 0;
    if (++s_ticks < LOG_EVERY_TICKS) return;
    s_ticks = 0;
    _afqt_log("run", "[%s][%d] \r\n", state_machine_name_, curr_sta_);
}

void StateMachineBase::change_state(TriggleEventId event, StateId target, uint8_t position)
{
    _afqt_log("run", "111 \r\n");
    get_curr_sta().exit();
    get_curr_sta().run_event_trans_callback(event);
    pre_sta_ = curr_sta_;
    curr_sta_ = target;
    cur_sta_index_ = position;
    get_curr_sta().entry();
    _afqt_log("run", "222 \r\n");
}

void StateMachineBase::follow_event(TriggleEventId event)
{
    _afqt_log("run", "[%s][%d][%d]event trig \r\n", state_machine_name_, curr_sta_, event);
    const StateId target = get_curr_sta().get_event_trans_sta(event);
    const uint8_t position = get_sta_from_list(target);
    if (position == InitListPos) {
        _afqt_log("run", "[%s][%d][%d]trans sta error \r\n", state_machine_name_, curr_sta_, event);
        return;
    }
    change_state(event, target, position);
}

uint8_t StateMachineBase::run()
{
    const TriggleEventId event = get_curr_sta().run_event_list();
    log_now_and_then();
    if (event < EventNumMax) follow_event(event);
    return get_curr_sta().run();
}

uint8_t StateMachineBase::exit()
{
    get_curr_sta().exit();
    return 0;
}

void StateMachineBase::reset_sta_machine()
{
    pre_sta_ = init_sta_;
    curr_sta_ = init_sta_;
    cur_sta_index_ = get_sta_from_list(init_sta_);
}

uint8_t StateInit0::init()
{
    const StateId first = owner_base().get_init_state();
    return add_event("event_init_state", first, event_init_state, nullptr);
}

uint8_t StateInit0::run()
{
    _afqt_log(__func__, "[%s] FATAL ERROR  \r\n", get_state_name());
    return 0;
}

}  // namespace afqt
