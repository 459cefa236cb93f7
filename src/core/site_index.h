// The running index into the management server's spipe sites, kept between
// calls so that a later upload starts with the site that served the last one.
#ifndef INETMGR_CORE_SITE_INDEX_H
#define INETMGR_CORE_SITE_INDEX_H

namespace corvane_com::zel::inetmgr {

// Deliberately unlocked: only the agent helpers touch it, from one agent thread
// at a time.
extern int iSiteIndex;

// Sets iSiteIndex to 0.
void resetSiteIndex();

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_CORE_SITE_INDEX_H
