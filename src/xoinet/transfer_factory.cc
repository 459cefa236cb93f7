// The transfer factory: it hands out test transfers, or network transfers once
// asked to, and counts the live ones, so tests can check that every transfer
// object is given back.
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "inetmgr/xoinet.h"
#include "platform/assert.h"
#include "xoinet/test_transfer.h"
#include "xoinet/transfer_backends.h"

namespace corvane_com::zel::xoInet {
namespace {

// Deliberately a plain integer: tests drive one transfer at a time.
std::int32_t g_xoInetTransferCount = 0;

// Set once and never cleared: a process that moves real data keeps doing so.
std::atomic<bool> g_networkTransfers{false};

bool networkFromEnvironment() {
  const char* choice = std::getenv("INETMGR_TRANSFER");
  return choice != nullptr && std::strcmp(choice, "network") == 0;
}

}  // namespace

void useNetworkTransfers() { g_networkTransfers = true; }

bool usingNetworkTransfers() {
  static const bool fromEnvironment = networkFromEnvironment();
  return fromEnvironment || g_networkTransfers.load();
}

TransferItf* XoInetItfFactory::CreateInterface(xoInetProtocol protocol) {
  ++g_xoInetTransferCount;
  if (usingNetworkTransfers()) return createNetworkTransfer(protocol);
  return new TestTransferImpl(protocol);
}

xoInetError XoInetItfFactory::DestroyInterface(TransferItf* pItf) {
  INETMGR_ASSERT(nullptr != pItf, "0!=pItf");
  --g_xoInetTransferCount;
  INETMGR_ASSERT(g_xoInetTransferCount >= 0, "g_xoInetTransferCount >= 0");
  delete pItf;
  return rcNoError;
}

int getTransferInstanceCount() { return g_xoInetTransferCount; }

}  // namespace corvane_com::zel::xoInet
