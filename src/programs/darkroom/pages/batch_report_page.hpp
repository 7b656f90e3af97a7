#pragma once

namespace likeness::darkroom {

/// What `pages/batch_report.js` and `.css` hold.
extern const char* const batchReportScript;
extern const char* const batchReportStyles;

}  // namespace likeness::darkroom
