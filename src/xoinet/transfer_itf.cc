// The transfer interface's shared base: construction and the option setters,
// which remember the last value of each kind so tests can read it back, and
// hand the value to a network transfer, which keeps its own copy.
#include "inetmgr/xoinet.h"
#include "xoinet/network_transfer.h"

namespace corvane_com::zel::xoInet {

long g_lastLongOption = 0;
std::wstring g_lastStrOption;
bool g_lastBoolOption = false;

TransferItf::TransferItf(xoInetProtocol transferProtocol) : protocol(transferProtocol) {}

TransferItf::~TransferItf() = default;

xoInetError TransferItf::PostLogOutOperations() { return rcNoError; }

// The test transfer keeps nothing of its own: only a network transfer answers
// here.
static NetworkTransfer* keeper(TransferItf* transfer) { return dynamic_cast<NetworkTransfer*>(transfer); }

xoInetError TransferItf::SetOption(const xoInetOption& option, const int& value) {
  NetworkTransfer* own = keeper(this);
  return own != nullptr && own->keepOption(option, static_cast<long>(value)) ? rcNoError : rcNotSupported;
}

xoInetError TransferItf::SetOption(const xoInetOption& option, const long& value) {
  g_lastLongOption = value;
  if (NetworkTransfer* own = keeper(this)) own->keepOption(option, value);
  return rcNoError;
}

xoInetError TransferItf::SetOption(const xoInetOption& option, const std::wstring& value) {
  g_lastStrOption = value;
  if (NetworkTransfer* own = keeper(this)) own->keepOption(option, value);
  return rcNoError;
}

xoInetError TransferItf::SetOption(const xoInetOption& option, const bool& value) {
  g_lastBoolOption = value;
  if (NetworkTransfer* own = keeper(this)) own->keepOption(option, value);
  return rcNoError;
}

xoInetError TransferItf::SetOption(const xoInetOption& option, const CProxyParams* value) {
  NetworkTransfer* own = keeper(this);
  return own != nullptr && own->keepOption(option, value) ? rcNoError : rcNotSupported;
}

xoInetProtocol TransferItf::GetProtocol() const { return protocol; }

std::wstring TransferItf::GetHostIP() const { return hostIP; }

std::wstring TransferItf::GetHostNetBios() const { return hostNetBios; }

}  // namespace corvane_com::zel::xoInet
