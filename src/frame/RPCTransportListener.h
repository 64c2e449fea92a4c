// SPDX-License-Identifier: MIT

#pragma once

#include "src/rpc/TransportListener.h"

class NotificationManager;

// RPCTransportListener: ends what hangs on a JSON-RPC connection when that connection ends: its notifications,
// its subscriptions in every controller, its session.
// Borrows: the notification manager, which outlives it.
class RPCTransportListener : public TransportListener {
  public:
    explicit RPCTransportListener(NotificationManager* notificationManager)
        : m_notificationManager(notificationManager) {}

    // Only logs: a connection joins the notification manager with its first call, which makes its session. It
    // must stay so, a connection without a session has nothing that could be notified.
    void addTransport(RPCTransport* transport) override;
    void removeTransport(RPCTransport* transport) override;

  private:
    NotificationManager* m_notificationManager;
};
