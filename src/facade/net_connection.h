// ImNetConnImpl: the network connection. It chooses one site of its own site
// list snapshot, by name or by type flags, and hands the transfer to it.
#ifndef INETMGR_FACADE_NET_CONNECTION_H
#define INETMGR_FACADE_NET_CONNECTION_H

#include "inetmgr/connection.h"
#include "inetmgr/site_list.h"

namespace corvane_com::zel::inetmgr {

class ImNetConnImpl final : public IImNetConnection {
 public:
  // Takes a snapshot of the site list (at worst the null site list).
  ImNetConnImpl();
  ImNetConnImpl(const ImNetConnImpl&) = delete;
  ImNetConnImpl& operator=(const ImNetConnImpl&) = delete;
  ~ImNetConnImpl() override;

  void destroy() override;
  ResultCode downloadFile(const wchar_t* file, const wchar_t* sourceDir, const wchar_t* destDir,
                          const wchar_t* siteName, const UserDefinedSite* siteConfig,
                          ImFlags flags) const override;
  ResultCode uploadFile(const wchar_t* fileName, const wchar_t* remoteDir, const wchar_t* localDir,
                        const wchar_t* siteName, ImFlags flags) const override;
  ResultCode uploadFileAndGetResponse(const wchar_t* localFile, const wchar_t* remoteDir,
                                      const wchar_t* responseFile) const override;
  ResultCode connect(IImProgressCallback* callback) override;
  ResultCode disconnect(IImProgressCallback* callback) override;

 private:
  bool isValid() const { return siteList_ != nullptr; }

  IImSiteList_ptr siteList_;
  IImProgressCallback_ptr callback_;
};

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_FACADE_NET_CONNECTION_H
