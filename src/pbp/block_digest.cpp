#include "pbp/block_digest.h"

#include <openssl/evp.h>

#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

#include "pbp/psar.h"

#ifdef EBF_HAVE_IPSEC_MB
// Keeps the library's old names (one of them is SHA1) out of OpenSSL's way.
#define NO_COMPAT_IMB_API_053
#include <intel-ipsec-mb.h>
#endif

namespace ebf::pbp {

BlockDigestValue BlockDigest(std::span<const uint8_t> plain) {
  unsigned char md[EVP_MAX_MD_SIZE];
  unsigned int len = 0;
  BlockDigestValue digest{};
  if (EVP_Digest(plain.data(), plain.size(), md, &len, EVP_sha1(), nullptr) != 1 || len < 16)
    throw std::runtime_error("SHA-1 is not available");
  std::memcpy(digest.data(), md, digest.size());
  return digest;
}

#ifdef EBF_HAVE_IPSEC_MB

struct BlockHasher::Lanes {
  IMB_MGR* manager = nullptr;
  std::vector<std::array<uint8_t, 20>> tags;  // whole SHA-1 values, as the library writes them
  std::vector<bool> done;

  ~Lanes() {
    if (manager) free_mb_mgr(manager);
  }

  void Finished(const IMB_JOB* job) {
    if (job && job->status == IMB_STATUS_COMPLETED)
      done[static_cast<size_t>(reinterpret_cast<uintptr_t>(job->user_data))] = true;
  }

  // Marks in `done` the blocks it hashed into `out`.
  void Run(std::span<const uint8_t> blocks, std::span<BlockDigestValue> out) {
    tags.resize(out.size());
    done.assign(out.size(), false);
    for (size_t i = 0; i < out.size(); ++i) {
      IMB_JOB* job = IMB_GET_NEXT_JOB(manager);
      std::memset(job, 0, sizeof *job);
      job->cipher_mode = IMB_CIPHER_NULL;
      job->cipher_direction = IMB_DIR_ENCRYPT;
      job->chain_order = IMB_ORDER_HASH_CIPHER;
      job->hash_alg = IMB_AUTH_SHA_1;
      job->src = blocks.data() + i * kBlockSize;
      job->msg_len_to_hash_in_bytes = kBlockSize;
      job->auth_tag_output = tags[i].data();
      job->auth_tag_output_len_in_bytes = tags[i].size();
      job->user_data = reinterpret_cast<void*>(static_cast<uintptr_t>(i));
      Finished(IMB_SUBMIT_JOB(manager));
    }
    while (const IMB_JOB* job = IMB_FLUSH_JOB(manager)) Finished(job);
    for (size_t i = 0; i < out.size(); ++i)
      if (done[i]) std::memcpy(out[i].data(), tags[i].data(), out[i].size());
  }
};

BlockHasher::BlockHasher() {
  auto lanes = std::make_unique<Lanes>();
  lanes->manager = alloc_mb_mgr(0);
  if (!lanes->manager) return;  // then blocks are hashed one at a time
  init_mb_mgr_auto(lanes->manager, nullptr);
  if (imb_get_errno(lanes->manager) == 0) lanes_ = lanes.release();
}

#else

struct BlockHasher::Lanes {
  std::vector<bool> done;
  void Run(std::span<const uint8_t>, std::span<BlockDigestValue>) {}
};

BlockHasher::BlockHasher() = default;

#endif

BlockHasher::~BlockHasher() {
  delete lanes_;
}

void BlockHasher::Digest(std::span<const uint8_t> blocks, std::span<BlockDigestValue> out) {
  if (blocks.size() != out.size() * kBlockSize) throw std::invalid_argument("block run size");
  if (lanes_) lanes_->Run(blocks, out);
  // Whatever the lanes did not hash (a job the library turned down, or no library).
  for (size_t i = 0; i < out.size(); ++i)
    if (!lanes_ || !lanes_->done[i])
      out[i] = BlockDigest(blocks.subspan(i * kBlockSize, kBlockSize));
}

}  // namespace ebf::pbp
