#pragma once
// What a queue's run comes to: the summary line, and the report of every row as CSV or
// JSON, the same from the window and from `batch --report`.

#include <string>
#include <vector>

#include "library/queue/queue.h"

namespace ebf {

// "3 done, 1 failed, 2 skipped in 1m 5s; 210.4 MB saved" (cancelled and queued rows are
// named when there are any).
std::string SummaryLine(const QueueSummary& summary);

// A table with a line for every row (title, gameId, discs, sourceBytes, state, reason,
// message, output, package, packageBytes, seconds, warnings), an empty line, then the
// summary as a table of one line.
std::string QueueReportCsv(const std::vector<QueueRow>& rows, const QueueSummary& summary);
// {"summary": {...}, "rows": [{...}, ...]} with the same fields.
std::string QueueReportJson(const std::vector<QueueRow>& rows, const QueueSummary& summary);

// Writes the report to `path`: JSON when the name ends in ".json", otherwise CSV. Written
// under a temporary name and renamed at the end. "" or what went wrong.
std::string WriteQueueReport(const std::string& path, const std::vector<QueueRow>& rows,
                             const QueueSummary& summary);

}  // namespace ebf
