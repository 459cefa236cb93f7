// A store for site list tests: hands out copies of real sites built from XML,
// counts lock cookies given and taken back, and fails on request.
#ifndef INETMGR_TESTS_FACADE_FAKE_STORE_H
#define INETMGR_TESTS_FACADE_FAKE_STORE_H

#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "facade/site_list_impl.h"
#include "support/parsed_xml.h"

namespace inetmgr_test {

namespace im = corvane_com::zel::inetmgr;
using im::ResultCode;

class FakeStore : public im::IPersistSite {
 public:
  void add(const std::string& xml) { sites_.push_back(im::wrapSitePtr(siteFrom(xml).release())); }
  // Handed out as it is, not copied; null gives a null site pointer.
  void addRaw(im::IImSite* site) { sites_.push_back(site != nullptr ? im::wrapSitePtr(site) : nullptr); }

  ResultCode getNextSite(im::IImSite*& site) override {
    if (next_ == failAt) return failCode;
    if (next_ == sites_.size()) return im::rcEndOfList;
    im::IImSite* held = sites_[next_++].get();
    auto* impl = dynamic_cast<im::ImSiteImpl*>(held);
    site = impl != nullptr ? new im::ImSiteImpl(*impl) : held;
    return im::rcSuccess;
  }
  ResultCode reset() override {
    next_ = 0;
    return resetCode;
  }
  ResultCode getGlobalSiteListVersion(std::wstring& v) const override { return version(v, L"global-3"); }
  ResultCode getLocalSiteListVersion(std::wstring& v) const override { return version(v, L"local-9"); }
  bool getPolicyOverwriteClientSites() const override { return true; }
  unsigned int getPolicyFindNearestMethod() const override { return method; }
  long lock() override {
    if (lockThrows) throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    ++locks;
    return cookie;
  }
  bool unlock(long given) override {
    ++unlocks;
    unlockedCookie = given;
    return true;
  }
  bool isLocked() const override { return locks > unlocks; }
  std::size_t getSiteCount() const override { return sites_.size(); }

  // Not used by a site list.
  void destroy() override {}
  ResultCode getNextNearestSite(const std::wstring&, std::wstring&, std::wstring&, std::wstring&,
                                bool&) const override {
    return im::rcNotImplemented;
  }
  ResultCode setSiteSearchParams(const bool*, im::ProtocolType::Types, im::SiteType::Types, const wchar_t*,
                                 const bool*) override {
    return im::rcNotImplemented;
  }
  ResultCode getNextSiteByIndex(int&, im::IImSite*&) override { return im::rcNotImplemented; }
  ResultCode addRemediationSites(const std::wstring&) override { return im::rcNotImplemented; }
  bool setNewXmlDocument(corvane_com::zel::platform::AdvXMLParser::Document*) override { return false; }
  void getProxyList(std::vector<corvane_com::zel::xoInet::CProxyParams>&) const override {}

  unsigned int method = 2;
  long cookie = 4;
  bool lockThrows = false;
  ResultCode versionCode = im::rcSuccess, resetCode = im::rcSuccess, failCode = im::rcSuccess;
  std::size_t failAt = static_cast<std::size_t>(-1);
  int locks = 0, unlocks = 0;
  long unlockedCookie = 0;

 private:
  ResultCode version(std::wstring& out, const wchar_t* text) const {
    out = text;
    return versionCode;
  }
  std::vector<im::IImSite_ptr> sites_;
  std::size_t next_ = 0;
};

// Site lists are given back through destroy(), never deleted.
struct DestroyList {
  void operator()(im::ImSiteListImpl* list) const { list->destroy(); }
};
using ListPtr = std::unique_ptr<im::ImSiteListImpl, DestroyList>;

inline ListPtr makeList(FakeStore& store) { return ListPtr(new im::ImSiteListImpl(&store)); }

// Names of the sites getNextSite yields from here on; each reference is given back.
inline std::vector<std::wstring> walk(im::IImSiteList& list) {
  std::vector<std::wstring> names;
  for (im::IImSite* site = nullptr; list.getNextSite(site) == im::rcSuccess; site->release()) {
    names.push_back(site->getSiteName());
  }
  return names;
}

inline std::string http(const std::string& name, const std::string& extra = "") {
  return "<HttpSite Type=\"repository\" Name=\"" + name + "\" " + extra + "/>";
}

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_FACADE_FAKE_STORE_H
