// `inetmgr sites`: the site list as the library sees it, as a table or JSON.
#include <algorithm>
#include <array>
#include <iostream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "command_line.h"
#include "commands.h"
#include "inetmgr/inetmgr.h"
#include "site_list_choice.h"
#include "tool_text.h"

namespace im = corvane_com::zel::inetmgr;
using nlohmann::json;

namespace {

constexpr int kNoOrder = 2147483647;

const char* methodName(unsigned int method) {
  switch (method) {
    case 0: return "ping time";
    case 1: return "hop count";
    case 2: return "configured order";
    default: return "unknown";
  }
}

std::wstring orderText(int order) { return order == kNoOrder ? L"-" : std::to_wstring(order); }

struct SiteRow {
  std::wstring name, type, protocol, server;
  bool enabled, ssl;
  int sortOrder, siteOrder;
};

std::vector<SiteRow> readSites(im::IImSiteList& list) {
  std::vector<SiteRow> rows;
  list.reset();
  im::IImSite* site = nullptr;
  while (list.getNextSite(site) == im::rcSuccess) {
    rows.push_back({site->getSiteName(), im::SiteType::toString(site->getType()),
                    im::ProtocolType::toString(site->getProtocol()), site->getServerName(), site->isEnabled(),
                    site->isSslEnabled(), site->getSortOrder(), site->getSiteOrder()});
    site->release();
  }
  return rows;
}

void printTable(const std::vector<SiteRow>& rows) {
  std::vector<std::array<std::wstring, 8>> cells;
  cells.push_back({L"name", L"type", L"protocol", L"enabled", L"sort", L"order", L"server", L"ssl"});
  for (const SiteRow& row : rows) {
    cells.push_back({escapeControls(row.name), escapeControls(row.type), escapeControls(row.protocol),
                     row.enabled ? L"yes" : L"no", orderText(row.sortOrder), orderText(row.siteOrder),
                     escapeControls(row.server), row.ssl ? L"yes" : L"no"});
  }
  std::array<std::size_t, 8> widths{};
  for (const auto& line : cells) {
    for (std::size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], displayWidth(line[i]));
  }
  for (const auto& line : cells) {
    std::string text = " ";
    for (std::size_t i = 0; i < line.size(); ++i) {
      text += " " + (i + 1 == line.size() ? padded(line[i], 0) : padded(line[i], widths[i]));
    }
    std::cout << text << "\n";
  }
}

json statusJson(const im::SiteListRefreshStatus& status) {
  json skipped = json::array();
  for (const std::wstring& entry : status.skippedEntries) skipped.push_back(im::toUtf8(entry));
  return {{"code", status.code}, {"reason", im::toUtf8(status.reason)}, {"skippedEntries", skipped}};
}

json sitesJson(const std::vector<SiteRow>& rows) {
  json sites = json::array();
  for (const SiteRow& row : rows) {
    sites.push_back({{"name", im::toUtf8(row.name)},
                     {"type", im::toUtf8(row.type)},
                     {"protocol", im::toUtf8(row.protocol)},
                     {"enabled", row.enabled},
                     {"sortOrder", row.sortOrder == kNoOrder ? json() : json(row.sortOrder)},
                     {"siteOrder", row.siteOrder == kNoOrder ? json() : json(row.siteOrder)},
                     {"server", im::toUtf8(row.server)},
                     {"ssl", row.ssl}});
  }
  return sites;
}

}  // namespace

int runSites(const Arguments& arguments) {
  const Command& self = findCommand("sites");
  std::wstring location;
  if (const int status = chooseSiteList(self, arguments, location, true)) return status;

  im::IImSiteList_ptr list = im::createSiteListSmartObject(false);
  im::SiteListRefreshStatus status;
  im::getLastSiteListRefreshStatus(status);
  const bool accepted = list.get() != im::getNullSiteList();
  const im::ResultCode refused = status.code == im::rcSuccess ? im::rcNotInitialized : status.code;
  const std::vector<SiteRow> rows = accepted ? readSites(*list) : std::vector<SiteRow>();
  std::wstring global;
  std::wstring local;
  if (accepted) {
    list->getGlobalSiteListVersion(global);
    list->getLocalSiteListVersion(local);
  }

  if (arguments.has("--json")) {
    json out = {{"siteList", im::toUtf8(location)}, {"accepted", accepted}, {"status", statusJson(status)}};
    if (accepted) {
      out["globalVersion"] = im::toUtf8(global);
      out["localVersion"] = im::toUtf8(local);
      out["policies"] = {{"overwriteClientSites", list->getPolicyOverwriteClientSites()},
                         {"findNearestMethod", list->getPolicyFindNearestMethod()}};
      out["sites"] = sitesJson(rows);
    }
    std::cout << out.dump(2) << "\n";
    return accepted ? 0 : exitCode(refused);
  }

  std::cout << "site list: " << printable(location) << "\n";
  if (!accepted) {
    const wchar_t* text = im::getErrorText(refused, true);
    std::cout << "rejected: " << printable(status.reason) << "\n"
              << "  (code " << refused << (text != nullptr ? ": " + im::toUtf8(text) : std::string()) << ")\n";
    return exitCode(refused);
  }
  if (!status.reason.empty()) {
    std::cout << (status.code == im::rcSuccess ? "note: " : "not taken, the list held before is shown: ")
              << printable(status.reason) << "\n";
  }
  std::cout << "versions: global " << printable(global) << ", local " << printable(local) << "\n";
  std::cout << "policies: overwrite client sites " << (list->getPolicyOverwriteClientSites() ? "yes" : "no")
            << ", repositories ranked by " << methodName(list->getPolicyFindNearestMethod()) << "\n";
  std::cout << "sites: " << rows.size() << "\n\n";
  printTable(rows);
  if (!status.skippedEntries.empty()) {
    std::cout << "\nskipped entries: " << status.skippedEntries.size() << "\n";
    for (const std::wstring& entry : status.skippedEntries) std::cout << "  " << printable(entry) << "\n";
  }
  return 0;
}
