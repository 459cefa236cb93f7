// `inetmgr rank`: the enabled sites nearest first, with the measured figure
// and why each has its order. By default the orders are the library's own,
// ranked at refresh by the list's policy; --method measures here instead,
// with each site's own probes, on five threads as the library does.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "command_line.h"
#include "commands.h"
#include "inetmgr/inetmgr.h"
#include "site_list_choice.h"
#include "tool_text.h"

namespace im = corvane_com::zel::inetmgr;

namespace {

constexpr int kLocalServer = 0, kSpipeUnmeasurable = 65533, kFallbackOrMirror = 65534, kUnmeasurable = 65535;
constexpr int kPing = 0, kHops = 1;
constexpr unsigned kWorkers = 5;

struct Ranked {
  im::IImSite* site;
  int order;
};

bool isLocalServer(const std::wstring& server) { return server == L"127.0.0.1" || server == L"localhost"; }

// The order the library would give `site` when measuring by `method`.
int measure(im::IImSite& site, int method, int timeout, int hopLimit) {
  const im::SiteType::Types type = site.getType();
  if (type == im::SiteType::Fallback || type == im::SiteType::Mirror) return kFallbackOrMirror;
  int order = kUnmeasurable;
  if (method == kHops) {
    order = site.calculateSubnetDistance(hopLimit);
  } else {
    const std::wstring server = site.getServerName();
    if (server.empty()) return kUnmeasurable;
    if (site.getProtocol() != im::ProtocolType::Local && isLocalServer(server)) return kLocalServer;
    order = site.ping(timeout);
  }
  return order == kUnmeasurable && site.getProtocol() == im::ProtocolType::Spipe ? kSpipeUnmeasurable : order;
}

// Why `site` has `order`, and the figure behind it ("-" for none).
std::pair<std::string, std::string> explain(im::IImSite& site, int method, int order) {
  switch (order) {
    case kUnmeasurable: return {"-", "unmeasurable"};
    case kFallbackOrMirror: return {"-", "fallback or mirror"};
    case kSpipeUnmeasurable:
      if (site.getProtocol() == im::ProtocolType::Spipe) return {"-", "management server, unmeasurable"};
      break;
    case kLocalServer:
      if (method == kPing && site.getProtocol() != im::ProtocolType::Local && isLocalServer(site.getServerName()))
        return {"-", "local server"};
      break;
    default: break;
  }
  if (method == kHops) return {std::to_string(order) + (order == 1 ? " hop" : " hops"), "measured hops"};
  return {std::to_string(order) + " ms", "measured delay"};
}

// `text` as a whole number from `low` to `high`, or -1.
int wholeNumber(const std::string& text, int low, int high) {
  if (text.empty() || text.size() > 9 || text.find_first_not_of("0123456789") != std::string::npos) return -1;
  const int n = std::stoi(text);
  return n < low || n > high ? -1 : n;
}

// Measures `sites` by `method` on up to five threads; on a terminal a
// progress line shows how many are done.
void measureAll(std::vector<Ranked>& sites, int method, int timeout, int hopLimit) {
  std::atomic<std::size_t> next{0}, done{0};
  std::vector<std::thread> workers;
  for (unsigned k = 0; k < kWorkers && k < sites.size(); ++k) {
    workers.emplace_back([&] {
      for (std::size_t i; (i = next++) < sites.size(); ++done) sites[i].order = measure(*sites[i].site, method, timeout, hopLimit);
    });
  }
  const bool terminal = ::isatty(STDERR_FILENO) == 1;
  while (terminal && done < sites.size()) {
    std::fprintf(stderr, "\rmeasuring by %s: %zu of %zu sites", method == kHops ? "hop count" : "ping time",
                 done.load(), sites.size());
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
  for (std::thread& worker : workers) worker.join();
  if (terminal) std::fprintf(stderr, "\r\033[K");
}

}  // namespace

int runRank(const Arguments& arguments) {
  const Command& self = findCommand("rank");
  int method = -1;
  if (arguments.has("--method")) {
    const std::string m = arguments.value("--method");
    method = m == "ping" ? kPing : m == "hops" ? kHops : -1;
    if (method < 0) return fail(self, "--method must be ping or hops, not \"" + m + "\"", im::rcBadArgument);
  }
  const int timeout = arguments.has("--timeout") ? wholeNumber(arguments.value("--timeout"), 0, 3600) : 30;
  if (timeout < 0) return fail(self, "--timeout must be a whole number of seconds from 0 to 3600", im::rcBadArgument);
  const int hopLimit = arguments.has("--hop-limit") ? wholeNumber(arguments.value("--hop-limit"), 1, 255) : 15;
  if (hopLimit < 0) return fail(self, "--hop-limit must be a whole number from 1 to 255", im::rcBadArgument);

  std::wstring location;
  if (const int status = chooseSiteList(self, arguments, location, true)) return status;

  const bool terminal = ::isatty(STDERR_FILENO) == 1;
  if (terminal) std::fprintf(stderr, "reading the site list (a list ranked by distance is measured now)...");
  im::IImSiteList_ptr list = im::createSiteListSmartObject(false);
  if (terminal) std::fprintf(stderr, "\r\033[K");
  if (list.get() == im::getNullSiteList()) {
    im::SiteListRefreshStatus status;
    im::getLastSiteListRefreshStatus(status);
    const im::ResultCode code = status.code == im::rcSuccess ? im::rcNotInitialized : status.code;
    return fail(self, "the site list is not usable: " + printable(status.reason), code);
  }

  const unsigned policy = list->getPolicyFindNearestMethod();
  const bool measuredHere = method >= 0;
  if (!measuredHere) method = static_cast<int>(policy);
  std::vector<Ranked> sites;
  im::IImSite* site = nullptr;
  // The library's ranking is the agent's: the walk by index. Measured here,
  // the sites are taken in list order and ranked after.
  for (int index = 0; measuredHere ? list->getNextSite(site) == im::rcSuccess
                                   : list->getNextSiteByIndex(index, site) == im::rcSuccess;
       ++index) {
    if (site->isEnabled()) sites.push_back({site, site->getSiteOrder()});
    else site->release();
  }
  if (measuredHere) {
    measureAll(sites, method, timeout, hopLimit);
    std::stable_sort(sites.begin(), sites.end(), [](const Ranked& a, const Ranked& b) { return a.order < b.order; });
  }

  std::cout << "site list: " << printable(location) << "\n";
  if (method != kPing && method != kHops) {
    std::cout << "the policy keeps the configured order: nothing is measured (give --method ping or hops)\n";
  } else {
    std::cout << "ranked by " << (method == kHops ? "hop count" : "ping time")
              << (measuredHere ? ", measured now" : ", as the library ranked it for the list's policy") << "\n\n";
    std::vector<std::vector<std::wstring>> rows = {{L"order", L"name", L"figure", L"reason"}};
    for (const Ranked& r : sites) {
      const auto [figure, reason] = explain(*r.site, method, r.order);
      rows.push_back({std::to_wstring(r.order), escapeControls(r.site->getSiteName()), std::wstring(figure.begin(), figure.end()),
                      std::wstring(reason.begin(), reason.end())});
    }
    std::size_t widths[4] = {};
    for (const auto& row : rows)
      for (std::size_t i = 0; i < 4; ++i) widths[i] = std::max(widths[i], displayWidth(row[i]));
    for (const auto& row : rows) {
      std::cout << " ";
      for (std::size_t i = 0; i < 4; ++i) std::cout << " " << padded(row[i], i == 3 ? 0 : widths[i]);
      std::cout << "\n";
    }
  }
  for (const Ranked& r : sites) r.site->release();
  return 0;
}
