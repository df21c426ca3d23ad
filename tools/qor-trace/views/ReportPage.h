// A report of a recording as a page for a browser.
#pragma once

#include <string>

#include "views/ReportData.h"

namespace client {

/// One file of HTML: it needs no other one and no network, and says everything without scripts. Texts of the recording are
/// nothing but text in it. The same recording gives the same bytes, however long it is fewer than 3 MB.
[[nodiscard]] std::string ReportPage(const ReportSubject& report);

}  // namespace client
