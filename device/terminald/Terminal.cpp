// SPDX-License-Identifier: MIT

#include "device/terminald/Terminal.h"

#include <algorithm>
#include <iterator>

#include "config_client/config_client_api.h"
#include "runtime/fdloop_libevent.h"
#include "runtime/logging.h"
#include "runtime/px_time.h"

namespace {

constexpr const char* kModule = "terminald";
constexpr const char* kStatusKey = "ram.status.system";
constexpr const char* kButtonKey = "ram.status.system.reset_button.reset_pressed";
constexpr const char* kButtonSecondsKey = "ram.status.system.reset_button.reset_pressed_seconds";
constexpr uint32_t kLookMs = 1000;

}  // namespace

Terminal::Terminal(_fdloop_t* loop, StartSequence& sequence, ResetButton& button)
    : m_loop(loop), m_sequence(sequence), m_button(button) {
    update(px_time_ms());
}

Terminal::~Terminal() {
    if (m_timer != nullptr) {
        fdloop_timer_del(m_loop, m_timer);
    }
}

void Terminal::press_reset_button() {
    const uint32_t now_ms = px_time_ms();
    m_button.press(now_ms);
    update(now_ms);
}

void Terminal::release_reset_button() {
    const uint32_t now_ms = px_time_ms();
    m_button.release(now_ms);
    update(now_ms);
}

void Terminal::on_timer(void* self, int, _fdloop_timer_t*) noexcept {
    static_cast<Terminal*>(self)->update(px_time_ms());
}

void Terminal::update(uint32_t now_ms) {
    m_sequence.advance(now_ms);
    m_button.advance(now_ms);
    const Values values{static_cast<int32_t>(m_sequence.status()), static_cast<int32_t>(m_button.status()),
                        m_button.seconds()};
    if (!is_shown(values)) {
        publish(values);
    }
    update_timer(now_ms);
}

// Asked of the database itself, which also shows what others have overwritten.
bool Terminal::is_shown(const Values& values) {
    Values shown{};
    return config_read_int(kStatusKey, &shown.status) == CONFIG_OK &&
           config_read_int(kButtonKey, &shown.button) == CONFIG_OK &&
           config_read_int(kButtonSecondsKey, &shown.button_seconds) == CONFIG_OK && shown == values;
}

// All in one write, so that button and seconds never contradict each other.
void Terminal::publish(const Values& values) {
    Values written = values;
    config_data_t elements[] = {
        {CONFIG_TYPE_INT, kStatusKey, &written.status, 0, 0, CONFIG_OK},
        {CONFIG_TYPE_INT, kButtonKey, &written.button, 0, 0, CONFIG_OK},
        {CONFIG_TYPE_INT, kButtonSecondsKey, &written.button_seconds, 0, 0, CONFIG_OK},
    };
    const int result = config_modifyv(nullptr, std::size(elements), elements);
    if (result != CONFIG_OK) {
        logger_function(3, kModule, "cannot write the status: %d", result);
        return;
    }
    logger_function(6, kModule, "status %d, reset button %d for %d s", values.status, values.button,
                    values.button_seconds);
}

void Terminal::update_timer(uint32_t now_ms) {
    const uint32_t left_ms = std::min({m_sequence.time_left_ms(now_ms).value_or(kLookMs),
                                       m_button.time_left_ms(now_ms).value_or(kLookMs), kLookMs});
    // At least one millisecond: an interval of 0 fires only once.
    const uint32_t interval_ms = std::max(left_ms, 1U);
    if (m_timer == nullptr) {
        m_timer = fdloop_timer_add(m_loop, interval_ms, on_timer, this);
    } else {
        fdloop_timer_set_interval(m_timer, interval_ms);
    }
}
