// The texts of the result codes and the error/non-error rule.
#include <map>
#include <mutex>
#include <string>

#include "inetmgr/result_code.h"
#include "platform/log.h"

namespace corvane_com::zel::inetmgr {
namespace {

using ErrorTextMap = std::map<ResultCode, std::wstring>;

ErrorTextMap g_errorTextMap;
bool errorTextMapInitialized = false;
std::once_flag g_errorTextMapOnce;

// rcShutDown deliberately has no text. The spelling "encounterd" is the system's
// own and is kept.
bool initializeErrorTextMap(ErrorTextMap& map) {
  const std::pair<ResultCode, const wchar_t*> texts[] = {
      {rcLockFailed, L"Access to a synchronization lock object failed."},
      {rcBadSchema, L"The provided sitelist does not follow the expected XML schema."},
      {rcNotInitialized,
       L"An attempt was made to use Internet Manager without first initializing it with a valid sitelist file."},
      {rcNotLocked, L"An attempt was made to access a method without locking an object in Internet Manager."},
      {rcSiteListError, L"An error occurred during a method call to IImSiteList."},
      {rcOutOfMemory, L"A heap allocation error occurred in Internet Manager."},
      {rcBadArgument, L"One or more bad arguments passed to a method or function in Internet Manager."},
      {rcNotImplemented, L"A call was made to a non-implemented method or function in Internet Manager."},
      {rcUnexpected, L"An unexpected error encounterd during a call into Internet Manager."},
      {rcSuccess, L"The call to Internet Manager was successful."},
      {rcEndOfList, L"Reached the end of a list maintained by Internet Manager."},
      {rcNotFound, L"A requested item was not found in Internet Manager."},
      {rcProxyElement, L"Element contains proxy configuration rather than site configuration."},
      {rcBadSiteProperties, L"Failed to create data transfer interface due to bad site properties."},
      {rcXoInetError, L"The xoInet library returned an error."},
      {rcPathError, L"An error occurred while working with path and filenames."},
      {rcBadCast, L"Programming error resulted in std::bad_cast exception."},
      {rcSiteDisabled, L"Requested operation cannot be performed on a disabled site."},
      {rcXoInetStatus, L"The xoInet library returned a status code."},
  };
  for (const auto& [code, text] : texts) map.emplace(code, text);
  return true;
}

}  // namespace

bool isCodeError(ResultCode code) { return code < 0; }

const wchar_t* getErrorText(ResultCode code, bool nullIfUnknown) {
  platform::ADetailTrace trace(L"imutils", L"getErrorText()");
  // Filled once even when several threads arrive first together; read without
  // a lock afterwards because the texts never change.
  std::call_once(g_errorTextMapOnce,
                 [] { errorTextMapInitialized = initializeErrorTextMap(g_errorTextMap); });
  static const wchar_t emptyText[] = L"";
  const auto it = g_errorTextMap.find(code);
  if (it != g_errorTextMap.end()) return it->second.c_str();
  return nullIfUnknown ? nullptr : emptyText;
}

}  // namespace corvane_com::zel::inetmgr
