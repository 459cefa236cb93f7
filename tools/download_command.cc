// `inetmgr download`: one file from a site of the site list, through the
// library's connection object. Without a choice of site it walks the enabled
// sites nearest first until one serves the file.
#include <iostream>
#include <string>
#include <vector>

#include "command_line.h"
#include "commands.h"
#include "inetmgr/inetmgr.h"
#include "tool_text.h"
#include "transfer_run.h"

namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;

namespace {

std::string describeCode(im::ResultCode code) {
  const wchar_t* text = im::getErrorText(code, true);
  return (text != nullptr ? im::toUtf8(text) : std::string("failed")) + " (code " + std::to_string(code) + ")";
}

// The enabled sites (remediation sites aside) in the order the library
// ranked them. The caller releases them.
std::vector<im::IImSite*> rankedSites() {
  std::vector<im::IImSite*> sites;
  im::IImSiteList_ptr list = im::createSiteListSmartObject(false);
  if (list.get() == im::getNullSiteList()) return sites;
  im::IImSite* site = nullptr;
  for (int index = 0; list->getNextSiteByIndex(index, site) == im::rcSuccess; ++index) {
    if (site->isEnabled() && site->getType() != im::SiteType::Remediation) sites.push_back(site);
    else site->release();
  }
  return sites;
}

// The walk: each site in turn, until one serves the file or Ctrl-C stops it.
// Each failure is told on stderr with the transfer's reason.
im::ResultCode walkSites(im::IImProgressCallback* progress, const std::wstring& file, const std::wstring& from,
                         const std::wstring& to, bool resume, std::wstring& servedBy) {
  const std::vector<im::IImSite*> sites = rankedSites();
  im::ResultCode code = sites.empty() ? im::rcSiteListError : im::rcSuccess;
  for (im::IImSite* site : sites) {
    if (!servedBy.empty()) break;
    site->connect(progress);
    code = site->downloadFile(file.c_str(), from.c_str(), to.c_str(), resume, nullptr);
    site->disconnect(progress);
    if (code == im::rcSuccess) {
      servedBy = site->getSiteName();
    } else if (code == im::rcShutDown || site->getLastErrorXoInet() == xo::rcAborted) {
      break;
    } else {
      const xo::xoInetError transfer = site->getLastErrorXoInet();
      std::cerr << "inetmgr download: " << printable(site->getSiteName()) << " (order " << site->getSiteOrder()
                << "): " << describeCode(code);
      if (transfer != xo::rcNoError)
        std::cerr << ", transfer code " << transfer << ": " << im::toUtf8(xo::getTransferCodeText(transfer));
      std::cerr << "; trying the next site\n";
    }
  }
  for (im::IImSite* site : sites) site->release();
  return code;
}

im::ResultCode downloadThrough(im::IImProgressCallback* progress, const std::wstring& file, const std::wstring& from,
                               const std::wstring& to, const std::wstring& siteName, im::ImFlags flags) {
  im::IImNetConnection* connection = im::createConnectionObject(false);
  if (connection == nullptr) return im::rcOutOfMemory;
  connection->connect(progress);
  const im::ResultCode code = connection->downloadFile(file.c_str(), from.c_str(), to.c_str(),
                                                       siteName.empty() ? nullptr : siteName.c_str(), nullptr, flags);
  connection->disconnect(progress);
  connection->destroy();
  return code;
}

}  // namespace

int runDownload(const Arguments& arguments) {
  const Command& self = findCommand("download");
  std::wstring file, from, to, siteName;
  im::ImFlags flags = 0;
  if (!requiredText(self, arguments, "--file", file) || !requiredText(self, arguments, "--from", from) ||
      !requiredText(self, arguments, "--to", to) || !siteChoice(self, arguments, flags, siteName) ||
      !useSiteList(self, arguments) || !chooseTransfer(self, arguments)) {
    return exitCode(im::rcBadArgument);
  }
  const bool walk = flags == 0;
  const im::ImFlags resume = arguments.has("--resume") ? im::imFlagResume : 0;
  std::wstring servedBy = siteName;
  const TransferOutcome outcome = runTransfer(self, printable(file), [&](im::IImProgressCallback* progress) {
    if (!walk) return downloadThrough(progress, file, from, to, siteName, flags | resume);
    servedBy.clear();
    return walkSites(progress, file, from, to, resume != 0, servedBy);
  });
  if (outcome.code == im::rcSuccess) {
    std::cout << "downloaded " << printable(file) << " from " << printable(from);
    if (!servedBy.empty()) std::cout << " through " << printable(servedBy);
    std::cout << " into " << printable(to) << "\n";
  }
  printTestTransferRecord();
  return transferExit(self, outcome);
}
