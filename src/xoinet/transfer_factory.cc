// The transfer factory of this build: it hands out test transfers and counts
// the live ones, so tests can check that every transfer object is given back.
#include <cstdint>

#include "inetmgr/xoinet.h"
#include "platform/assert.h"
#include "xoinet/test_transfer.h"

namespace corvane_com::zel::xoInet {
namespace {

// Deliberately a plain integer: tests drive one transfer at a time.
std::int32_t g_xoInetTransferCount = 0;

}  // namespace

TransferItf* XoInetItfFactory::CreateInterface(xoInetProtocol protocol) {
  ++g_xoInetTransferCount;
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
