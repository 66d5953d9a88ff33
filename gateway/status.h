/// The one way in which failures of the CDF library are reported.
///
/// A status below zero is a failure, the library's warnings included; zero and above let the
/// operation go on and are not shown.
#pragma once

#include <string>

#include "cdf/functions.h"
#include "cdf/library.h"
#include "gateway/operations.h"

namespace tarvik {

/// The step that failed, the last component of the error's identifier.
namespace tag {
inline constexpr const char* failure = "failure";
inline constexpr const char* variableInquiryFailure = "variableInquiryFailure";
inline constexpr const char* majorityInquiryFailure = "majorityInquiryFailure";
inline constexpr const char* formatInquiryFailure = "formatInquiryFailure";
inline constexpr const char* scopeInquiryfailure = "scopeInquiryfailure";
}  // namespace tag

/// The library's words for a status; empty where it has none.
StatusTextBuffer statusText(CDFstatus status);

/// Raises "VORLAN:tarvik:", function, ":", tag with the library's words for the status.
[[noreturn]] void reportCdfFailure(CDFstatus status, const std::string& function,
                                   const std::string& tag);

/// Raises the failure of the operation's step; returns for a status of zero or above.
inline void check(const OperationEntry* entry, CDFstatus status, const char* step = tag::failure) {
  if (status < 0) {
    reportCdfFailure(status, entry->name, step);
  }
}

}  // namespace tarvik
