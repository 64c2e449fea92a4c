// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

#include "config_client/config_vbuf.h"

struct _cbus_conn_t;

// config_client_api: this process's access to the unit's configuration database over the bus.
// Threads: the thread of the bus connection only.
// Blocks:  requests (read, readv, modifyv, readm, status, factory reset) block until the database answers; the
//          bus answers for it when it does not. Writes, deletes and sync are signals: they do not wait, and who
//          has to know that a write arrived uses config_modifyv.
// Errors:  0 or a status below. Malformed fixed-size replies and lack of memory stop the process.
// config_init_cbus comes before anything else.

constexpr uint32_t CONFIG_TYPE_NONE = 0;    // no value; written, it deletes the key
constexpr uint32_t CONFIG_TYPE_STRING = 2;  // with its NUL
constexpr uint32_t CONFIG_TYPE_INT = 3;     // signed, 32 bits
constexpr uint32_t CONFIG_TYPE_BINARY = 16;

// The information of config_status.
constexpr uint32_t CONFIG_STAT_TYPE = 0xff;       // 0 without a value
constexpr uint32_t CONFIG_STAT_PERSISTS = 0x100;  // the key lies in a tree that is stored
constexpr uint32_t CONFIG_STAT_FACTORY = 0x200;   // the value is the factory's

constexpr int CONFIG_OK = 0;
constexpr int CONFIG_NO_REPLY = -1;
constexpr int CONFIG_NO_VALUE = -5;
constexpr int CONFIG_MISMATCH = -6;  // of type or size
constexpr int CONFIG_TRUNCATED = -7;

// Of one value; the database refuses a longer one.
constexpr uint32_t kConfigMaxValueBytes = uint32_t{1} << 20;

// One key of a vector operation, and one changed key in a callback.
struct config_data_t {
    uint32_t type;
    const char* key;
    void* value;      // write: the value, only read; read: the caller's buffer
    uint32_t size;    // write: bytes of the value; read: capacity of the buffer
    uint32_t length;  // as the database returned it
    int32_t status;
};

// The elements, their keys and values are valid during the call. The callback may register and deregister.
using config_change_cb_t = void (*)(unsigned int count, const config_data_t* elements, void* context);
// Sets the status of each element: 0 accepts it.
using config_validator_cb_t = void (*)(unsigned int count, config_data_t* elements, void* context);

// The connections are borrowed and outlive every use. Notifications arrive on callbackConnection, null meaning the
// same one. A null connection stops the process.
int config_init_cbus(_cbus_conn_t* connection, _cbus_conn_t* callbackConnection);

// The outputs are what the database returned: the type, and how many bytes of the buffer are filled.
int config_read_typed(const char* key, void* buffer, uint32_t size, uint32_t* lengthOut, uint32_t* typeOut);
// *valueOut is untouched unless the result is 0.
int config_read_int(const char* key, int32_t* valueOut);
// A text that does not fit is cut and counts as read.
int config_read_string(const char* key, char* buffer, uint32_t size);

// Always 0: a write that the bus does not take is not reported.
int config_write_typed(const char* key, const void* value, uint32_t length, uint32_t type);
int config_write_int(const char* key, int32_t value);
int config_write_string(const char* key, const char* text);
int config_delete(const char* key);
int config_deletem(const char* pattern);

// Each element's value points to `size` writable bytes; status and length of each are filled. `prefix` may be null.
int config_readv(const char* prefix, unsigned int count, config_data_t* elements);
// A value's length is strlen + 1 for a string, 4 for an integer and `size` for other types; null is no value.
int config_writev(const char* prefix, unsigned int count, const config_data_t* elements);
// Waits for the result of each element; returns the first that is not 0.
int config_modifyv(const char* prefix, unsigned int count, config_data_t* elements);
// Reads every key that the pattern matches. *elementsOut is one block that the caller frees; null with count 0.
int config_readm(const char* pattern, unsigned int* countOut, config_data_t** elementsOut);

// Result as the database gave it, or -1 without a reply. informationOut (CONFIG_STAT_...) may be null.
int config_status(const char* key, uint32_t* informationOut);
// A null argument is none.
int config_sync(const char* argument);
int config_factory_reset();

// Calls the function once per change signal that holds keys beginning with the prefix, with those keys. The
// prefix is copied. Registering on a bus that is gone is no error; nothing will be called.
int config_change_register(const char* prefix, config_change_cb_t function, void* context);
int config_change_deregister(const char* prefix, config_change_cb_t function, void* context);
// Guards the keys that begin with `name` (at most 59 characters, copied). -1: the bus is gone.
int config_validator_register(config_validator_cb_t function, const char* name, void* context);
