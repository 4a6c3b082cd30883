#include "library/queue/report.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>

#include "common/file_io.h"
#include "common/files.h"
#include "common/text.h"

namespace ebf {
namespace {

using Json = nlohmann::ordered_json;

std::string Minutes(double seconds) {
  const long s = std::lround(seconds);
  return std::to_string(s / 60) + "m " + std::to_string(s % 60) + "s";
}

double Rounded(double seconds) {
  return std::round(seconds * 1000) / 1000;
}

std::string Joined(const std::vector<std::string>& parts) {
  std::string all;
  for (const std::string& p : parts) all += (all.empty() ? "" : "; ") + p;
  return all;
}

// A field quoted when it holds a comma, a quote or a line break, quotes doubled.
std::string CsvField(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  return "\"" + ReplaceAll(text, "\"", "\"\"") + "\"";
}

std::string CsvLine(const std::vector<std::string>& fields) {
  std::string line;
  for (std::size_t i = 0; i < fields.size(); ++i) line += (i ? "," : "") + CsvField(fields[i]);
  return line + "\r\n";
}

std::string Number(double value) {
  std::ostringstream out;
  out << value;
  return out.str();
}

}  // namespace

std::string SummaryLine(const QueueSummary& s) {
  std::string line = std::to_string(s.done) + " done, " + std::to_string(s.failed) + " failed, " +
                     std::to_string(s.skipped) + " skipped";
  if (s.cancelled) line += ", " + std::to_string(s.cancelled) + " cancelled";
  if (s.queued) line += ", " + std::to_string(s.queued) + " still queued";
  return line + " in " + Minutes(s.seconds) + "; " + FormatSize(s.bytesSaved) + " saved";
}

std::string QueueReportCsv(const std::vector<QueueRow>& rows, const QueueSummary& s) {
  std::string csv =
      CsvLine({"title", "gameId", "discs", "sourceBytes", "state", "reason", "message", "output",
               "package", "packageBytes", "seconds", "warnings"});
  for (const QueueRow& r : rows)
    csv +=
        CsvLine({r.title, r.gameId, Joined(r.discs), std::to_string(r.sourceBytes),
                 RowStateName(r.state), SkipReasonName(r.skip), r.reason, r.output, r.package,
                 std::to_string(r.packageBytes), Number(Rounded(r.seconds)), Joined(r.warnings)});
  csv += "\r\n";
  csv += CsvLine({"done", "failed", "skipped", "cancelled", "queued", "seconds", "bytesSaved"});
  csv += CsvLine({std::to_string(s.done), std::to_string(s.failed), std::to_string(s.skipped),
                  std::to_string(s.cancelled), std::to_string(s.queued), Number(Rounded(s.seconds)),
                  std::to_string(s.bytesSaved)});
  return csv;
}

std::string QueueReportJson(const std::vector<QueueRow>& rows, const QueueSummary& s) {
  Json out = {{"summary",
               {{"done", s.done},
                {"failed", s.failed},
                {"skipped", s.skipped},
                {"cancelled", s.cancelled},
                {"queued", s.queued},
                {"seconds", Rounded(s.seconds)},
                {"bytesSaved", s.bytesSaved}}},
              {"rows", Json::array()}};
  for (const QueueRow& r : rows)
    out["rows"].push_back({{"title", r.title},
                           {"gameId", r.gameId},
                           {"discs", r.discs},
                           {"sourceBytes", r.sourceBytes},
                           {"state", RowStateName(r.state)},
                           {"reason", SkipReasonName(r.skip)},
                           {"message", r.reason},
                           {"output", r.output},
                           {"package", r.package},
                           {"packageBytes", r.packageBytes},
                           {"seconds", Rounded(r.seconds)},
                           {"warnings", r.warnings}});
  // Bytes that are not UTF-8 (a name from a foreign file system) become U+FFFD.
  return out.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string WriteQueueReport(const std::string& path, const std::vector<QueueRow>& rows,
                             const QueueSummary& summary) {
  const bool json = path.size() >= 5 && EqualsCaseBlind(path.substr(path.size() - 5), ".json");
  const std::string text = json ? QueueReportJson(rows, summary) : QueueReportCsv(rows, summary);
  const std::string partial = path + ".part";
  File out(partial, File::Mode::Write);
  bool written = static_cast<bool>(out) && out.Write(text);
  written = out.Close() && written;
  std::string why;
  if (written && RenameReplacing(partial, path, &why)) return {};
  if (why.empty()) why = out.LastError();
  DeleteFileIfExists(partial);
  return "The report could not be written: " + path + " (" + why + ")";
}

}  // namespace ebf
