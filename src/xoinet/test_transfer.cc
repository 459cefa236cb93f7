// The recording test transfer.
#include "xoinet/test_transfer.h"

#include <filesystem>

#include "core/string_conversion.h"

namespace corvane_com::zel::xoInet {

LastOperationData g_lastOpData;

void LastOperationData::resetFields() { *this = LastOperationData(); }

namespace {

enum Operation : std::int32_t {
  opDownload = 1,
  opUpload = 2,
  opUploadResponse = 3,
  opDeleteFile = 4,
  opDeleteDirectory = 5,
};

constexpr INETSTATUS kReportedStatus = statusProgress;

// Parent directory and last element, by the path grammar alone.
void splitPath(const std::wstring& path, std::wstring& directory, std::wstring& leaf) {
  using inetmgr::convertString;
  const std::filesystem::path parsed(convertString<char>(path));
  directory = convertString<wchar_t>(parsed.parent_path().string());
  leaf = convertString<wchar_t>(parsed.filename().string());
}

// The one progress step of a transfer. The sink's answer is deliberately
// ignored: a stop request has no effect on this transfer.
void reportProgress(CNetSessionSink* sink, const wchar_t* fileName) {
  if (sink == nullptr) return;
  const unsigned int done = 0;
  const long total = 0;
  bool flag = true;
  sink->OnProgress(done, total, kReportedStatus, L"someSiteName", L"someServerName", fileName, &flag);
}

}  // namespace

TestTransferImpl::TestTransferImpl(xoInetProtocol transferProtocol) : TransferItf(transferProtocol) {}

xoInetError TestTransferImpl::CheckOptions() const { return rcNoError; }

xoInetError TestTransferImpl::Logon(bool, unsigned int) {
  loggedOn = true;
  return rcNoError;
}

xoInetError TestTransferImpl::LogOut() {
  loggedOn = false;
  return rcNoError;
}

xoInetError TestTransferImpl::DownloadFile(const std::wstring& localTarget, const std::wstring& remoteSource,
                                           CNetSessionSink* sink, long*, bool&, const bool&) {
  if (!loggedOn) return rcNotLoggedOn;
  g_lastOpData.resetFields();
  g_lastOpData.operation = opDownload;
  // Deliberately crossed: the first argument, the local target, fills the source fields.
  splitPath(localTarget, g_lastOpData.sourceDirectory, g_lastOpData.sourceFileName);
  splitPath(remoteSource, g_lastOpData.targetDirectory, g_lastOpData.targetFileName);
  // The report names the file the record calls the target.
  reportProgress(sink, remoteSource.c_str());
  return rcNoError;
}

xoInetError TestTransferImpl::UploadFile(const std::wstring& source, const std::wstring& destination,
                                         CNetSessionSink* sink) {
  if (!loggedOn) return rcNotLoggedOn;
  g_lastOpData.resetFields();
  g_lastOpData.operation = opUpload;
  splitPath(source, g_lastOpData.sourceDirectory, g_lastOpData.sourceFileName);
  g_lastOpData.targetDirectory = destination;
  reportProgress(sink, L"someFileName");
  return rcNoError;
}

xoInetError TestTransferImpl::UploadFileResponse(const std::wstring& source, const std::wstring& destination,
                                                 const std::wstring& responseFile, CNetSessionSink* sink) {
  const xoInetError result = UploadFile(source, destination, sink);
  // Written even when the upload was refused: the record shows the attempt.
  g_lastOpData.operation = opUploadResponse;
  g_lastOpData.responsePath = responseFile;
  return result;
}

xoInetError TestTransferImpl::DeleteRemoteFile(const std::wstring& path) {
  g_lastOpData.resetFields();
  g_lastOpData.operation = opDeleteFile;
  splitPath(path, g_lastOpData.targetDirectory, g_lastOpData.targetFileName);
  return rcNoError;
}

xoInetError TestTransferImpl::DeleteRemoteDirectory(const std::wstring& path, const bool& recursive) {
  g_lastOpData.resetFields();
  g_lastOpData.operation = opDeleteDirectory;
  g_lastOpData.targetDirectory = path;
  g_lastOpData.recursive = recursive;
  return rcNoError;
}

}  // namespace corvane_com::zel::xoInet
