// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <string>
#include <vector>

#include "src/base/owners.h"
#include "src/http/HabTimer.h"

class FileTransfer;
class HabRequest;

// HabHandler: base of everything that the dispatcher can call. Its own handleRequest() serves registered
// settings: one JSON request reads (GET), writes (PUT) or watches (POST and DELETE with the header
// HTTP_HAB_NOTIFICATION) values under dotted keys.
// Owns:    the errors of the request being handled.
// Borrows: the settings and their validators; they outlive the handler.
// Threads: loop thread only.
// Errors:  a request gets 400 and an object of key to error text; handleRequest() answers -1 in any case,
//          and sends nothing when the body cannot be read.
class HabHandler : public HabTimer {
  public:
    class Setting;    // HabSetting.h
    class Validator;  // HabValidator.h, with the kinds below
    class MinLength;
    class ValidChars;
    class ValidType;

    // The order of the virtual operations is part of the contract with derived handlers.
    void onTime() override {}
    ~HabHandler() override = default;
    // Non-zero: the request has been dealt with. 0: the dispatcher answers 404.
    virtual int handleRequest(HabRequest* request);
    virtual bool isStreaming(HabRequest* request);
    // One piece of a body that is handed over while it arrives; chunkCtx is the request's own state.
    // More than 0: send me the rest in pieces too.
    virtual int handleChunk(HabRequest* request, void* chunkCtx);
    virtual int fileUpload(HabRequest* request, FileTransfer* transfer, char* data, unsigned int count,
                           bool first, bool last);

    // The flag itself, whatever a derived isStreaming() makes of a request.
    [[nodiscard]] bool streamingFlag() const { return m_streaming; }

    // validators: Validator pointers in the order in which they run, the last one null.
    template <class... Validators>
    void addSetting(Setting* setting, Validators... validators) {
        Validator* const chain[] = {validators..., nullptr};
        appendSetting(setting, chain);
    }

    // The member of the errors object is named like the item, or "error" when there is no name.
    void addError(const cJSON* item, const std::string& message);
    // Adds "Error" when result is not 0.
    void addError(const cJSON* item, int result);

    static void dump_json(const cJSON* item, int indent);

    static ValidChars& decimalString;
    static ValidChars& hexString;
    static ValidChars& octalString;
    static ValidChars& binaryString;
    static ValidType& validString;
    static ValidType& validBoolean;
    static ValidType& validInteger;
    static ValidType& validFloat;
    // Its message is empty on purpose: a member that fails it is dropped without an error.
    static MinLength& ignoreEmpty;

  protected:
    bool m_streaming = false;

  private:
    using Take = std::function<void(Setting&, JsonPtr)>;

    void appendSetting(Setting* setting, Validator* const* chain);
    // The three kinds of request. False: the body cannot be read.
    bool handleNotification(HabRequest& request);
    void handleRead(HabRequest& request, cJSON* result);
    bool handleWrite(HabRequest& request);

    JsonPtr parseRequest(const std::string& text);
    void takeMatching(cJSON* items, const Take& take);
    void refuseRest(const cJSON* items, const std::string& message);

    JsonPtr m_errors;
    std::vector<Setting*> m_settings;
};
