// SPDX-License-Identifier: MIT

#pragma once

class RPCTransport;

// TransportListener: hears of connections that come and go.
class TransportListener {
  public:
    virtual void addTransport(RPCTransport* transport) = 0;
    // The transport is still whole, and gone for good when this returns.
    virtual void removeTransport(RPCTransport* transport) = 0;
    virtual ~TransportListener() = default;
};
