// The transfer interface's shared base: construction and the option setters,
// which only remember the last value of each kind so tests can read it back.
#include "inetmgr/xoinet.h"

namespace corvane_com::zel::xoInet {

long g_lastLongOption = 0;
std::wstring g_lastStrOption;
bool g_lastBoolOption = false;

TransferItf::TransferItf(xoInetProtocol transferProtocol) : protocol(transferProtocol) {}

TransferItf::~TransferItf() = default;

xoInetError TransferItf::PostLogOutOperations() { return rcNoError; }

xoInetError TransferItf::SetOption(const xoInetOption&, const int&) { return rcNotSupported; }

xoInetError TransferItf::SetOption(const xoInetOption&, const long& value) {
  g_lastLongOption = value;
  return rcNoError;
}

xoInetError TransferItf::SetOption(const xoInetOption&, const std::wstring& value) {
  g_lastStrOption = value;
  return rcNoError;
}

xoInetError TransferItf::SetOption(const xoInetOption&, const bool& value) {
  g_lastBoolOption = value;
  return rcNoError;
}

xoInetError TransferItf::SetOption(const xoInetOption&, const CProxyParams*) { return rcNotSupported; }

xoInetProtocol TransferItf::GetProtocol() const { return protocol; }

std::wstring TransferItf::GetHostIP() const { return hostIP; }

std::wstring TransferItf::GetHostNetBios() const { return hostNetBios; }

}  // namespace corvane_com::zel::xoInet
