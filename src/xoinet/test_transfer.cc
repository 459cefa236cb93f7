// The recording test transfer.
#include "xoinet/test_transfer.h"

#include <string>
#include <utility>

#include "core/path_utils.h"
#include "core/string_conversion.h"
#include "xoinet/transfer_script.h"

namespace corvane_com::zel::xoInet {

LastOperationData g_lastOpData;

void LastOperationData::resetFields() {
  *this = LastOperationData();
}

namespace {

enum Operation : std::int32_t {
  opDownload = 1,
  opUpload = 2,
  opUploadResponse = 3,
  opDeleteFile = 4,
  opDeleteDirectory = 5,
};

constexpr INETSTATUS kReportedStatus = statusProgress;

// Parent directory and last element, by the path grammar alone: nothing on
// disk is consulted. Sources are taken as they are; targets and deleted files
// must consist of portable names (else std::filesystem::filesystem_error).
struct SplitPath {
  std::wstring directory;
  std::wstring leaf;
};

SplitPath splitPath(const std::wstring& path, inetmgr::NameChecker checker) {
  using inetmgr::convertString;
  std::string branch;
  std::string leaf;
  inetmgr::splitBranchAndLeaf(convertString<char>(path), checker, branch, leaf);
  return SplitPath{convertString<wchar_t>(branch), convertString<wchar_t>(leaf)};
}

const inetmgr::NameChecker kSourceNames = nullptr;
const inetmgr::NameChecker kTargetNames = &inetmgr::portableName;

// The one progress step of a transfer. The sink's answer is deliberately
// ignored: a stop request has no effect on this transfer.
void reportProgress(CNetSessionSink* sink, const wchar_t* fileName) {
  if (sink == nullptr) return;
  const unsigned int done = 0;
  const long total = 0;
  bool flag = true;
  sink->OnProgress(done, total, kReportedStatus, L"someSiteName", L"someServerName", fileName, &flag);
}

test::TransferCall makeCall(test::TransferCallKind kind, xoInetError usual, const std::wstring& first = {},
                            const std::wstring& second = {}, const std::wstring& third = {}) {
  test::TransferCall call;
  call.kind = kind;
  call.result = usual;
  call.first = first;
  call.second = second;
  call.third = third;
  return call;
}

}  // namespace

TestTransferImpl::TestTransferImpl(xoInetProtocol transferProtocol) : TransferItf(transferProtocol) {}

xoInetError TestTransferImpl::CheckOptions() const {
  return rcNoError;
}

xoInetError TestTransferImpl::Logon(bool anonymousLogon, unsigned int timeout) {
  test::TransferCall call = makeCall(test::callLogon, rcNoError);
  call.number = static_cast<long>(timeout);
  call.flag = anonymousLogon;
  const xoInetError result = finishCall(std::move(call));
  // A logon scripted to fail leaves the object logged off, as a real one would.
  if (result >= 0) loggedOn = true;
  return result;
}

xoInetError TestTransferImpl::LogOut() {
  loggedOn = false;
  return finishCall(makeCall(test::callLogOut, rcNoError));
}

xoInetError TestTransferImpl::PostLogOutOperations() {
  return finishCall(makeCall(test::callPostLogOutOperations, TransferItf::PostLogOutOperations()));
}

xoInetError TestTransferImpl::DownloadFile(const std::wstring& localTarget, const std::wstring& remoteSource,
                                           CNetSessionSink* sink, long* resumePoint, bool& resume,
                                           const bool&) {
  test::TransferCall call = makeCall(test::callDownloadFile, rcNoError, localTarget, remoteSource);
  call.number = resumePoint != nullptr ? *resumePoint : 0;
  call.flag = resume;
  if (!loggedOn) {
    call.result = rcNotLoggedOn;
    return journalRefusedCall(std::move(call));
  }
  // Deliberately crossed: the first argument, the local target, fills the source fields.
  SplitPath source = splitPath(localTarget, kSourceNames);
  SplitPath target = splitPath(remoteSource, kTargetNames);
  g_lastOpData.resetFields();
  g_lastOpData.operation = opDownload;
  g_lastOpData.sourceDirectory = std::move(source.directory);
  g_lastOpData.sourceFileName = std::move(source.leaf);
  g_lastOpData.targetDirectory = std::move(target.directory);
  g_lastOpData.targetFileName = std::move(target.leaf);
  // The report names the file the record calls the target.
  reportProgress(sink, remoteSource.c_str());
  return finishCall(std::move(call));
}

xoInetError TestTransferImpl::UploadFile(const std::wstring& source, const std::wstring& destination,
                                         CNetSessionSink* sink) {
  test::TransferCall call = makeCall(test::callUploadFile, rcNoError, source, destination);
  if (!loggedOn) {
    call.result = rcNotLoggedOn;
    return journalRefusedCall(std::move(call));
  }
  SplitPath parts = splitPath(source, kSourceNames);
  g_lastOpData.resetFields();
  g_lastOpData.operation = opUpload;
  g_lastOpData.sourceDirectory = std::move(parts.directory);
  g_lastOpData.sourceFileName = std::move(parts.leaf);
  g_lastOpData.targetDirectory = destination;
  reportProgress(sink, L"someFileName");
  return finishCall(std::move(call));
}

xoInetError TestTransferImpl::UploadFileResponse(const std::wstring& source, const std::wstring& destination,
                                                 const std::wstring& responseFile, CNetSessionSink* sink) {
  const xoInetError result = UploadFile(source, destination, sink);
  // Written even when the upload was refused: the record shows the attempt.
  g_lastOpData.operation = opUploadResponse;
  g_lastOpData.responsePath = responseFile;
  test::TransferCall call = makeCall(test::callUploadFileResponse, result, source, destination, responseFile);
  return loggedOn ? finishCall(std::move(call)) : journalRefusedCall(std::move(call));
}

xoInetError TestTransferImpl::DeleteRemoteFile(const std::wstring& path) {
  SplitPath parts = splitPath(path, kTargetNames);
  g_lastOpData.resetFields();
  g_lastOpData.operation = opDeleteFile;
  g_lastOpData.targetDirectory = std::move(parts.directory);
  g_lastOpData.targetFileName = std::move(parts.leaf);
  return finishCall(makeCall(test::callDeleteRemoteFile, rcNoError, path));
}

xoInetError TestTransferImpl::DeleteRemoteDirectory(const std::wstring& path, const bool& recursive) {
  g_lastOpData.resetFields();
  g_lastOpData.operation = opDeleteDirectory;
  g_lastOpData.targetDirectory = path;
  g_lastOpData.recursive = recursive;
  test::TransferCall call = makeCall(test::callDeleteRemoteDirectory, rcNoError, path);
  call.flag = recursive;
  return finishCall(std::move(call));
}

}  // namespace corvane_com::zel::xoInet
