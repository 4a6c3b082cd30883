#include "disc/rip/cd_drive.h"

#include <cdio/cdio.h>
#include <cdio/logging.h>
#include <cdio/mmc_ll_cmds.h>
#include <cdio/paranoia/cdda.h>
#include <cdio/paranoia/paranoia.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "common/cd_sector.h"

namespace ebf::rip {
namespace {

static_assert(CDIO_CD_FRAMESIZE_RAW == kRawSectorSize);
constexpr int kAudioRetries = 20;

void IgnoreParanoiaStatus(long, paranoia_cb_mode_t) {}

// libcdio reports oddities of sheets on stderr; the program reports its own messages.
void QuietLibcdio() {
  cdio_loglevel_default = CDIO_LOG_ERROR;
}

bool IsImageDriver(driver_id_t id) {
  return id == DRIVER_BINCUE || id == DRIVER_CDRDAO || id == DRIVER_NRG;
}

}  // namespace

struct CdDrive::Impl {
  CdIo_t* cdio = nullptr;
  cdrom_drive_t* cdda = nullptr;
  cdrom_paranoia_t* paranoia = nullptr;
  std::string source;
  int32_t nextAudio = -1;  // the sector paranoia will give next

  ~Impl() {
    if (paranoia) cdio_paranoia_free(paranoia);
    if (cdda) cdio_cddap_close_no_free_cdio(cdda);
    if (cdio) cdio_destroy(cdio);
  }
};

std::vector<std::string> ListDrives() {
  QuietLibcdio();
  std::vector<std::string> out;
  char** list = cdio_get_devices(DRIVER_DEVICE);
  for (char** p = list; p && *p; ++p) out.emplace_back(*p);
  if (list) cdio_free_device_list(list);
  return out;
}

CdDrive::CdDrive() : impl_(std::make_unique<Impl>()) {}
CdDrive::~CdDrive() = default;

bool CdDrive::IsImage() const {
  return impl_->cdio && IsImageDriver(cdio_get_driver_id(impl_->cdio));
}

std::string CdDrive::Open(const std::string& source) {
  QuietLibcdio();
  impl_ = std::make_unique<Impl>();
  impl_->source = source;
  impl_->cdio = cdio_open(source.c_str(), DRIVER_UNKNOWN);
  if (!impl_->cdio) return "No disc could be read in \"" + source + "\".";
  return "";
}

std::string CdDrive::ReadToc(std::vector<DriveTrack>& out) {
  out.clear();
  CdIo_t* c = impl_->cdio;
  if (!c) return "No disc is open.";
  const track_t first = cdio_get_first_track_num(c);
  const track_t count = cdio_get_num_tracks(c);
  if (first == CDIO_INVALID_TRACK || count == CDIO_INVALID_TRACK || count == 0)
    return "The disc in \"" + impl_->source + "\" has no table of contents.";
  const lsn_t leadOut = cdio_get_track_lsn(c, CDIO_CDROM_LEADOUT_TRACK);
  for (track_t t = first; t < first + count; ++t) {
    DriveTrack d;
    d.number = t;
    const lsn_t index1 = cdio_get_track_lsn(c, t);
    const lsn_t pregap = cdio_get_track_pregap_lsn(c, t);
    if (index1 == CDIO_INVALID_LSN || index1 < 0)
      return "Track " + std::to_string(t) + " of the disc cannot be located.";
    d.index1 = static_cast<uint32_t>(index1);
    // Track 1's pregap is the lead-in gap before sector 0, never read.
    d.start = (t > first && pregap != CDIO_INVALID_LSN && pregap >= 0 && pregap <= index1)
                  ? static_cast<uint32_t>(pregap)
                  : d.index1;
    d.audio = cdio_get_track_format(c, t) == TRACK_FORMAT_AUDIO;
    d.mode = d.audio                                          ? "AUDIO"
             : cdio_get_track_format(c, t) == TRACK_FORMAT_XA ? "MODE2/2352"
                                                              : "MODE1/2352";
    out.push_back(d);
  }
  for (std::size_t i = 0; i < out.size(); ++i) {
    const lsn_t end = i + 1 < out.size() ? static_cast<lsn_t>(out[i + 1].start) : leadOut;
    if (end == CDIO_INVALID_LSN || end < static_cast<lsn_t>(out[i].index1))
      return "The table of contents of the disc is not in order.";
    out[i].end = static_cast<uint32_t>(end);
  }
  // The mode byte of a data track's first sector is surer than the TOC's format.
  for (DriveTrack& d : out) {
    if (d.audio || d.index1 >= d.end) continue;
    uint8_t sector[kRawSectorSize];
    if (ReadSectors(d, d.index1, 1, sector).empty() && (sector[15] == 1 || sector[15] == 2))
      d.mode = sector[15] == 1 ? "MODE1/2352" : "MODE2/2352";
  }
  return "";
}

std::string CdDrive::ReadSectors(const DriveTrack& track, uint32_t lsn, uint32_t count,
                                 uint8_t* out) {
  Impl& m = *impl_;
  const std::string where = "sector " + std::to_string(lsn) + " of track " +
                            std::to_string(track.number) + " could not be read.";
  // An audio track's pregap lies, for paranoia, in the track before it (the disc's table
  // of contents knows only INDEX 01), which may be a data track it will not read: the pregap
  // is read directly, the track itself through paranoia.
  if (track.audio && lsn < track.index1) {
    const uint32_t direct = std::min(count, track.index1 - lsn);
    if (cdio_read_audio_sectors(m.cdio, out, static_cast<lsn_t>(lsn), direct) != DRIVER_OP_SUCCESS)
      return "The " + where;
    if (direct == count) return "";
    return ReadSectors(track, lsn + direct, count - direct,
                       out + std::size_t{direct} * kRawSectorSize);
  }
  if (track.audio) {
    // Audio goes through paranoia, which reads overlapping runs until they agree.
    if (!m.paranoia) {
      m.cdda = cdio_cddap_identify_cdio(m.cdio, CDDA_MESSAGE_FORGETIT, nullptr);
      if (!m.cdda || cdio_cddap_open(m.cdda) != 0) return "The drive cannot read audio: " + where;
      // CD audio is little-endian; the byte-order guess from the first sectors can be
      // fooled by noise-like music.
      m.cdda->bigendianp = 0;
      m.paranoia = cdio_paranoia_init(m.cdda);
      if (!m.paranoia) return "The drive cannot read audio: " + where;
      cdio_paranoia_modeset(m.paranoia, PARANOIA_MODE_FULL ^ PARANOIA_MODE_NEVERSKIP);
    }
    if (m.nextAudio != static_cast<int32_t>(lsn)) {
      cdio_paranoia_seek(m.paranoia, static_cast<int32_t>(lsn), SEEK_SET);
      m.nextAudio = static_cast<int32_t>(lsn);
    }
    for (uint32_t i = 0; i < count; ++i) {
      const int16_t* samples =
          cdio_paranoia_read_limited(m.paranoia, IgnoreParanoiaStatus, kAudioRetries);
      if (!samples) {
        m.nextAudio = -1;
        return "The " + where;
      }
      std::memcpy(out + std::size_t{i} * kRawSectorSize, samples, kRawSectorSize);
      ++m.nextAudio;
    }
    return "";
  }
  driver_return_code_t rc;
  if (IsImage()) {
    // An image driver gives any sector raw as it is stored.
    rc = cdio_read_audio_sectors(m.cdio, out, static_cast<lsn_t>(lsn), count);
  } else {
    // A drive: READ CD of any sector type with sync, all headers, data and EDC/ECC.
    rc = mmc_read_cd(m.cdio, out, static_cast<lsn_t>(lsn), 0, false, true, 3, true, true, 0, 0,
                     static_cast<uint16_t>(kRawSectorSize), count);
  }
  if (rc != DRIVER_OP_SUCCESS) return "The " + where;
  return "";
}

}  // namespace ebf::rip
