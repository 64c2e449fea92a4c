// SPDX-License-Identifier: MIT

#pragma once

// event_counts: how many records the one EventManager's store holds, by state and severity (event_wire.h).

// The severity equal, or with `invert` different.
[[nodiscard]] unsigned countStoreEvents(int state, int severity, bool invert);

// ON and more than information.
[[nodiscard]] unsigned numberActiveNonInfoEvents();
// ON and ERROR. FATAL is not among them and must not be: who shows this number shows fatal events apart.
[[nodiscard]] unsigned numberActiveErrorEvents();
