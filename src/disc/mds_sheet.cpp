#include "disc/mds_sheet.h"

#include <cstring>

#include "common/bytes.h"

namespace ebf {
namespace {

constexpr uint16_t kMaxSessions = 99;

// Track block fields.
constexpr std::size_t kTrackMode = 0, kTrackSubchannel = 1, kTrackAdrControl = 2, kTrackPoint = 4;
constexpr std::size_t kTrackExtraOffset = 12, kTrackSectorSize = 16, kTrackStartSector = 36,
                      kTrackStartOffset = 40;
// Session block fields.
constexpr std::size_t kSessionStart = 0, kSessionEnd = 4, kSessionNumber = 8,
                      kSessionBlockCount = 10, kSessionFirstTrack = 12, kSessionLastTrack = 14,
                      kSessionTracksOffset = 20;

uint64_t LoadLe64(const uint8_t* p) {
  return uint64_t{LoadLe32(p)} | (uint64_t{LoadLe32(p + 4)} << 32);
}

}  // namespace

MdsParse ParseMdsSheet(std::span<const uint8_t> bytes, const std::string& sheetName) {
  MdsParse out;
  auto fail = [&](const std::string& what) {
    out.error = sheetName + " " + what;
    out.sheet = {};
    return out;
  };
  const uint64_t size = bytes.size();
  if (size < mds::kHeaderSize || std::memcmp(bytes.data(), mds::kMagic, mds::kMagicSize) != 0)
    return fail("is not an Alcohol media descriptor (no \"MEDIA DESCRIPTOR\" header).");
  MdsSheet& sheet = out.sheet;
  sheet.versionMajor = bytes[mds::kVersionPos];
  sheet.versionMinor = bytes[mds::kVersionPos + 1];
  if (sheet.versionMajor != 1)
    return fail("is a version " + std::to_string(sheet.versionMajor) + "." +
                std::to_string(sheet.versionMinor) + " descriptor; only version 1 can be read.");
  sheet.medium = LoadLe16(&bytes[mds::kMediumPos]);
  if (sheet.medium >= mds::kMediumDvd) return fail("describes a DVD, not a CD.");
  const uint16_t sessions = LoadLe16(&bytes[mds::kSessionCountPos]);
  const uint32_t sessionsAt = LoadLe32(&bytes[mds::kSessionsOffsetPos]);
  if (sessions == 0 || sessions > kMaxSessions)
    return fail("gives " + std::to_string(sessions) + " sessions.");
  if (!RangeFits(sessionsAt, uint64_t{sessions} * mds::kSessionSize, size))
    return fail("is cut short: its session blocks run past the end of the file.");

  for (uint16_t s = 0; s < sessions; ++s) {
    const uint8_t* b = &bytes[sessionsAt + std::size_t{s} * mds::kSessionSize];
    MdsSession session;
    session.start = static_cast<int32_t>(LoadLe32(b + kSessionStart));
    session.end = static_cast<int32_t>(LoadLe32(b + kSessionEnd));
    session.number = LoadLe16(b + kSessionNumber);
    const uint8_t count = b[kSessionBlockCount];
    session.firstTrack = LoadLe16(b + kSessionFirstTrack);
    session.lastTrack = LoadLe16(b + kSessionLastTrack);
    const uint32_t tracksAt = LoadLe32(b + kSessionTracksOffset);
    if (!RangeFits(tracksAt, uint64_t{count} * mds::kTrackSize, size))
      return fail("is cut short: the track blocks of session " + std::to_string(s + 1) +
                  " run past the end of the file.");
    for (uint8_t k = 0; k < count; ++k) {
      const uint8_t* t = &bytes[tracksAt + std::size_t{k} * mds::kTrackSize];
      MdsTrackBlock track;
      track.mode = t[kTrackMode];
      track.subchannel = t[kTrackSubchannel];
      track.adrControl = t[kTrackAdrControl];
      track.point = t[kTrackPoint];
      track.sectorSize = LoadLe16(t + kTrackSectorSize);
      track.startSector = LoadLe32(t + kTrackStartSector);
      track.startOffset = LoadLe64(t + kTrackStartOffset);
      const uint32_t extraAt = LoadLe32(t + kTrackExtraOffset);
      if (extraAt != 0 && track.point >= 1 && track.point <= 99) {
        if (!RangeFits(extraAt, mds::kExtraSize, size))
          return fail("is cut short: the extra block of track " + std::to_string(track.point) +
                      " lies past the end of the file.");
        track.hasExtra = true;
        track.pregap = LoadLe32(&bytes[extraAt]);
        track.length = LoadLe32(&bytes[extraAt + 4]);
      }
      session.blocks.push_back(track);
    }
    sheet.sessions.push_back(std::move(session));
  }
  return out;
}

}  // namespace ebf
