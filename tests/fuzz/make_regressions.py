#!/usr/bin/env python3
"""Writes the hand-made inputs that every clang build replays through the fuzz targets
(tests/fuzz/regressions/<target>/), for every target: headers cut short, sizes and offsets
that lie, counts that overflow, and the shapes that once broke a reader. The files are kept
in the repository; run this again after changing it. (The compressed CHD seeds, tiny-*.chd,
cut-map.chd and map-crc.chd, were made by the tests' CHD writer, tests/support/chd_writer,
and are kept as they are.)"""
import os
import shutil
import struct
import subprocess
import tempfile
import zlib

HERE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "regressions")


def le16(v):
    return struct.pack("<H", v & 0xFFFF)


def le32(v):
    return struct.pack("<I", v & 0xFFFFFFFF)


def write(target, name, data):
    folder = os.path.join(HERE, target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as f:
        f.write(data)


# ---- BMP: file header (14 bytes) + DIB header ------------------------------------------

def info_header(width, height, bits, compression=0, colors=0, size=40):
    h = le32(size) + le32(width) + le32(height) + le16(1) + le16(bits) + le32(compression)
    h += le32(0) + le32(2835) + le32(2835) + le32(colors) + le32(0)
    return h + bytes(size - 40)


def bmp(dib, pixels, offset=None, extra=b""):
    off = 14 + len(dib) + len(extra) if offset is None else offset
    body = dib + extra + pixels
    return b"BM" + le32(14 + len(body)) + le32(0) + le32(off) + body


def bmp_cases():
    good = bmp(info_header(2, 2, 24), bytes([0, 0, 255, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 0]))
    yield "good_2x2_24bit.bmp", good
    yield "cut_in_file_header.bmp", good[:9]
    yield "cut_in_dib_header.bmp", good[:30]
    yield "cut_in_pixels.bmp", good[:-5]
    yield "pixel_offset_past_end.bmp", bmp(info_header(2, 2, 24), bytes(16), offset=0x7FFFFFFF)
    yield "pixel_offset_inside_header.bmp", bmp(info_header(2, 2, 24), bytes(16), offset=20)
    yield "width_2g_no_pixels.bmp", bmp(info_header(0x7FFFFFFF, 1, 24), bytes(4))
    yield "height_int_min.bmp", bmp(info_header(1, 0x80000000, 24), bytes(4))
    yield "negative_width.bmp", bmp(info_header(0xFFFFFFFF, 1, 24), bytes(4))
    yield "zero_size.bmp", bmp(info_header(0, 0, 24), bytes(4))
    yield "side_16385.bmp", bmp(info_header(16385, 1, 8), bytes(16388))
    yield "bits_zero.bmp", bmp(info_header(1, 1, 0), bytes(4))
    yield "bits_64.bmp", bmp(info_header(1, 1, 64), bytes(8))
    # Palette: more colours claimed than fit, and a palette cut by the end of the file.
    yield "palette_colors_huge.bmp", bmp(info_header(4, 1, 8, colors=0xFFFFFFFF), bytes(4))
    yield "palette_cut_short.bmp", bmp(info_header(4, 1, 8, colors=256), bytes(4), extra=bytes(12))
    # Bit fields: masks with holes, all ones, overlapping; masks beyond a cut header.
    masks = le32(0xF0F0F0F0) + le32(0xFFFFFFFF) + le32(0x00000001)
    yield "bitfields_odd_masks.bmp", bmp(info_header(2, 1, 32, compression=3), bytes(8), extra=masks)
    yield "bitfields_masks_cut.bmp", (b"BM" + le32(60) + le32(0) + le32(54)
                                      + info_header(1, 1, 16, compression=3))
    yield "bitfields_on_8bit.bmp", bmp(info_header(1, 1, 8, compression=3), bytes(4), extra=masks)
    v5 = info_header(2, 1, 32, compression=6, size=124)
    yield "alpha_bitfields_v5.bmp", bmp(v5, bytes(8))
    # Run lengths: no end mark, a move past the picture, a literal run longer than the data,
    # RLE on a top-down picture, RLE4 with an odd literal.
    pal = bytes(4 * 256)
    yield "rle8_no_end_mark.bmp", bmp(info_header(4, 4, 8, compression=1), bytes([4, 1, 4, 2]), extra=pal)
    yield "rle8_delta_far.bmp", bmp(info_header(4, 4, 8, compression=1),
                                    bytes([0, 2, 255, 255, 2, 7, 0, 1]), extra=pal)
    yield "rle8_literal_too_long.bmp", bmp(info_header(4, 4, 8, compression=1),
                                           bytes([0, 200, 1, 2, 3]), extra=pal)
    yield "rle8_top_down.bmp", bmp(info_header(4, 0xFFFFFFFC, 8, compression=1),
                                   bytes([4, 1, 0, 1]), extra=pal)
    yield "rle4_odd_literal.bmp", bmp(info_header(5, 2, 4, compression=2),
                                      bytes([0, 5, 0x12, 0x34, 0x50, 0, 0, 0, 0, 1]), extra=pal[:64])
    yield "rle8_huge_picture.bmp", bmp(info_header(16384, 16384, 8, compression=1),
                                       bytes([0, 1]), extra=pal)
    # OS/2 core header with a three-byte palette, and one cut inside the palette.
    core = le32(12) + le16(2) + le16(2) + le16(1) + le16(1)
    yield "os2_1bit.bmp", bmp(core, bytes([0x80, 0, 0, 0, 0x40, 0, 0, 0]), extra=bytes(6))
    core1 = le32(12) + le16(2) + le16(1) + le16(1) + le16(1)
    yield "os2_palette_runs_past_end.bmp", (b"BM" + le32(30) + le32(0) + le32(26) + core1 + bytes(4))
    yield "header_size_huge.bmp", (b"BM" + le32(30) + le32(0) + le32(26) + le32(0xFFFFFFF0)
                                   + bytes(8))
    yield "jpeg_inside.bmp", bmp(info_header(1, 1, 24, compression=4), bytes(4))


# ---- ICO / CUR ----------------------------------------------------------------------------

def ico(entries, images, kind=1, count=None):
    """entries: (width, height, bits, size, offset) with None meaning the real value."""
    n = len(entries) if count is None else count
    out = le16(0) + le16(kind) + le16(n)
    pos = 6 + 16 * len(entries)
    offsets = []
    for img in images:
        offsets.append(pos)
        pos += len(img)
    for i, (w, h, bits, size, offset) in enumerate(entries):
        real = images[i] if i < len(images) else b""
        out += bytes([w & 0xFF, h & 0xFF, 0, 0]) + le16(1) + le16(bits)
        out += le32(len(real) if size is None else size)
        out += le32((offsets[i] if i < len(offsets) else 0) if offset is None else offset)
    return out + b"".join(images)


def icon_dib(width, height, bits, pixels=None, mask=True):
    dib = info_header(width, height * 2, bits)
    if bits <= 8:
        dib += bytes(4 << bits)
    stride = ((width * bits + 31) // 32) * 4
    dib += pixels if pixels is not None else bytes(stride * height)
    if mask:
        dib += bytes(((width + 31) // 32) * 4 * height)
    return dib


def png(width, height, idat=None, cut=None):
    def chunk(tag, body):
        return be32(len(body)) + tag + body + be32(zlib.crc32(tag + body))
    raw = b"".join(b"\x00" + bytes(4 * min(width, 64)) for _ in range(min(height, 4)))
    data = (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(raw) if idat is None else idat) + chunk(b"IEND", b""))
    return data if cut is None else data[:cut]


def ico_cases():
    good = icon_dib(2, 2, 32)
    yield "good_2x2_32bit.ico", ico([(2, 2, 32, None, None)], [good])
    yield "cut_in_directory.ico", ico([(2, 2, 32, None, None)], [good])[:15]
    yield "count_65535.ico", ico([(2, 2, 32, None, None)], [good], count=0xFFFF)
    yield "count_zero.ico", ico([(2, 2, 32, None, None)], [good], count=0)
    yield "type_three.ico", ico([(2, 2, 32, None, None)], [good], kind=3)
    yield "size_lies_past_end.ico", ico([(2, 2, 32, 0x7FFFFFFF, None)], [good])
    yield "offset_lies_past_end.ico", ico([(2, 2, 32, None, 0xFFFFFFF0)], [good])
    yield "offset_plus_size_wraps.ico", ico([(2, 2, 32, 0x20, 0xFFFFFFF0)], [good])
    yield "size_zero.ico", ico([(2, 2, 32, 0, None)], [good])
    # Bitmaps: height 1 (no colour rows), the mask missing, a top-down bitmap, a header whose
    # width times height overflows 32 bits, RLE inside an icon.
    yield "height_one.ico", ico([(1, 1, 32, None, None)], [info_header(1, 1, 32) + bytes(4)])
    yield "mask_missing.cur", ico([(2, 2, 24, None, None)], [icon_dib(2, 2, 24, mask=False)], kind=2)
    yield "top_down.ico", ico([(2, 2, 32, None, None)], [info_header(2, 0xFFFFFFFC, 32) + bytes(16)])
    yield "area_overflow.ico", ico([(0, 0, 32, None, None)],
                                   [info_header(0x7FFFFFFF, 0x7FFFFFFE, 32) + bytes(8)])
    yield "rle_inside.ico", ico([(2, 2, 8, None, None)],
                                [info_header(2, 4, 8, compression=1) + bytes(1024) + bytes([0, 1])])
    yield "palette_cut.ico", ico([(2, 2, 8, None, None)], [info_header(2, 4, 8, colors=200) + bytes(20)])
    # PNG inside: cut before its size, claiming 2^32 - 1 on a side, a broken stream, and
    # beside a bitmap that claims to be larger.
    yield "png_cut_before_size.ico", ico([(0, 0, 32, None, None)], [png(2, 2, cut=20)])
    yield "png_huge_header.ico", ico([(0, 0, 32, None, None)], [png(0xFFFFFFFF, 0xFFFFFFFF)])
    yield "png_bad_stream.ico", ico([(0, 0, 32, None, None)], [png(2, 2, idat=b"\x78\x9c\xff\xff")])
    yield "png_and_liar_bitmap.ico", ico([(2, 2, 32, None, None), (0, 0, 32, None, None)],
                                         [info_header(16384, 32768, 32) + bytes(8), png(2, 2)])


# ---- DOCUMENT.DAT: 136-byte header (page count at 132), 128-byte records ---------------

def doc(count, records, tail=b""):
    head = b"DOC " + bytes(8) + b"SLUS00001" + bytes(132 - 21) + le32(count)
    table = b"".join(le32(off) + bytes(8) + le32(size) + bytes(112) for off, size in records)
    return head + table + bytes(8) + tail


def doc_cases():
    page = b"\x89PNG" + bytes(28)
    body = 136 + 2 * 128 + 8
    yield "good_two_pages.dat", doc(2, [(body, 32), (body + 32, 32)], page + page)
    # One page longer than the reader's 64 KiB copy buffer.
    big = b"\x89PNG" + bytes(70000 - 4)
    yield "page_longer_than_buffer.dat", doc(1, [(136 + 128 + 8, len(big))], big)
    yield "cut_before_count.dat", doc(1, [(0, 0)])[:134]
    yield "empty.dat", b""
    yield "count_max_short_table.dat", doc(0xFFFFFFFF, [(body, 4)], b"\x89PNG")
    yield "record_cut_in_half.dat", doc(1, [(200, 4)])[:136 + 64]
    yield "offset_past_end.dat", doc(1, [(0xFFFFFFFF, 32)], page)
    yield "size_past_end.dat", doc(1, [(136 + 128 + 8, 0xFFFFFFFF)], page)
    yield "offset_at_end.dat", doc(1, [(136 + 128 + 8, 10)])
    yield "records_overlap_header.dat", doc(3, [(0, 136), (4, 0xFFFFFFF0), (0, 0)])


# ---- Package: PBP header, PARAM.SFO, DATA.PSAR with its index and start data -------------

def sfo(pairs):
    """A PARAM.SFO of UTF-8 string keys, laid out as the PSP's own are."""
    keys = b""
    values = b""
    entries = b""
    for key, value in pairs:
        data = value.encode() + b"\0"
        size = (len(data) + 3) & ~3
        entries += le16(len(keys)) + le16(0x0204) + le32(len(data)) + le32(size) + le32(len(values))
        keys += key.encode() + b"\0"
        values += data + bytes(size - len(data))
    keys += bytes((-len(keys)) % 4)
    key_start = 20 + len(entries)
    return (b"\0PSF" + le32(0x0101) + le32(key_start) + le32(key_start + len(keys)) +
            le32(len(pairs)) + entries + keys + values)


# The start-data block after the disc image: its header, then a tiny "picture" and a stub.
STARTDAT = b"STARTDAT" + le32(1) + le32(1) + le32(80) + le32(4) + bytes(56) + b"\x89PNG" + b"PGD"


def package(blocks=1, block_len=37632, index_offset=0, start_rel=None, cut=None, magic=b"\0PBP"):
    param = sfo([("DISC_ID", "SLUS00594"), ("TITLE", "Fuzz Game")])
    lengths = [len(param), 0, 0, 0, 0, 0, 0]
    offsets = [40]
    for n in lengths:
        offsets.append(offsets[-1] + n)
    psar = offsets[7]
    head = magic + le32(0x10000) + b"".join(le32(o) for o in offsets)
    image = bytearray(0x100000)
    image[0:12] = b"PSISOIMG0000"
    data_len = blocks * block_len
    start = 0x100000 + data_len if start_rel is None else start_rel
    image[12:16] = le32(start)
    image[0x401:0x40B] = b"SLUS_00594"
    for i in range(blocks):
        slot = 0x4000 + 32 * i
        image[slot:slot + 8] = le32(index_offset + i * block_len) + le16(block_len) + le16(0)
    body = bytes(image) + bytes(data_len)
    out = head + param + body + STARTDAT
    return out if cut is None else out[:cut]


def package_cases():
    yield "whole_one_block.pbp", package()
    yield "empty.pbp", b""
    yield "header_only.pbp", package()[:40]
    yield "not_pbp_magic.pbp", package(magic=b"\0PBX")
    yield "cut_in_index.pbp", package(cut=40 + 40 + 0x4010)
    yield "cut_in_block.pbp", package(blocks=2, cut=40 + 100 + 0x100000 + 40000)
    yield "index_offset_huge.pbp", package(index_offset=0xFFFFFF00)
    yield "start_data_past_end.pbp", package(start_rel=0x7FFFFFFF)
    yield "start_data_inside_index.pbp", package(start_rel=0x5000)
    yield "block_length_zero.pbp", package(block_len=0)
    yield "three_blocks_deflate_length.pbp", package(blocks=3, block_len=37637)


def title_package(discs=2, slots=None, cut=None, last_size=None, block=None):
    """A package of several discs: a title header whose table lists each disc's section (one
    block of zero sectors each, a one-track TOC), then STARTDAT after the last. `cut` counts
    from DATA.PSAR."""
    param = sfo([("DISC_ID", "SLUS00594"), ("TITLE", "Fuzz Set")])
    offsets = [40] + [40 + len(param)] * 7
    psar = offsets[7]
    head = b"\0PBP" + le32(0x10000) + b"".join(le32(o) for o in offsets)
    packer = zlib.compressobj(9, zlib.DEFLATED, -15)
    data = packer.compress(bytes(37632)) + packer.flush() if block is None else block
    starts, body = [], bytearray(0x400)
    for d in range(discs):
        starts.append(len(body))
        section = bytearray(0x100000)
        section[0:12] = b"PSISOIMG0000"
        section[0x400:0x40B] = ("_SLUS_0059%d" % (4 + d)).encode()
        toc = [(0x41, 0xA0, (1, 0x20, 0)), (0x41, 0xA1, (1, 0, 0)), (0x01, 0xA2, (0, 0, 0x16)),
               (0x41, 0x01, (0, 2, 0))]
        for i, (control, point, msf) in enumerate(toc):
            section[0x800 + 10 * i:0x800 + 10 * i + 10] = bytes([control, 0, point, 0, 0, 0, 0]) + bytes(msf)
        section[0xBFC:0xC00] = le32(0x100000)
        section[0x4000:0x4008] = le32(0) + le16(len(data)) + le16(1)  # then an all-zero end
        body += section + data
        body += bytes((-len(body)) % 0x400)
    body[0:16] = b"PSTITLEIMG000000"
    body[0x264:0x26F] = b"_SLUS_00594"
    for i, start in enumerate(starts if slots is None else slots):
        body[0x200 + 4 * i:0x204 + 4 * i] = le32(start)
    for i, start in enumerate(starts):
        end = starts[i + 1] if i + 1 < len(starts) else len(body)
        body[start + 12:start + 16] = le32(end - start if last_size is None or i + 1 < len(starts) else last_size)
    out = head + param + bytes(body) + STARTDAT
    return out if cut is None else out[:psar + cut]


def title_package_cases():
    yield "titled_two_discs.pbp", title_package()
    yield "titled_five_discs.pbp", title_package(discs=5)
    yield "titled_one_disc.pbp", title_package(discs=1)
    first, second = 0x400, 0x400 + 0x100000 + 0x400
    yield "titled_six_slots.pbp", title_package(slots=[first, second, first, second, first, second])
    yield "titled_slot_inside_disc1.pbp", title_package(slots=[first, first + 0x800])
    yield "titled_same_section_twice.pbp", title_package(slots=[first, first])
    yield "titled_slot_past_end.pbp", title_package(slots=[first, 0xFFFFFC00])
    yield "titled_slot_in_header.pbp", title_package(slots=[0x10, second])
    yield "titled_encrypted_table.pbp", title_package(slots=[0x44475000, second])
    yield "titled_no_disc.pbp", title_package(slots=[0, second])
    yield "titled_start_data_past_end.pbp", title_package(last_size=0x7FFFFFF0)
    yield "titled_start_data_inside_disc.pbp", title_package(last_size=0x100010)
    yield "titled_cut_in_header.pbp", title_package(cut=0x300)
    yield "titled_cut_in_disc2.pbp", title_package(cut=second + 0x5000)
    yield "titled_block_length_huge.pbp", title_package(block=bytes(0xFFF0))


def sfo_cases():
    good = sfo([("DISC_ID", "SLUS00594"), ("TITLE", "Fuzz Game"), ("CATEGORY", "ME")])
    yield "good.sfo", good
    yield "empty.sfo", b""
    yield "cut_in_header.sfo", good[:12]
    yield "cut_in_entries.sfo", good[:30]
    yield "count_huge.sfo", good[:16] + le32(0xFFFFFFFF) + good[20:]
    yield "key_table_past_end.sfo", good[:8] + le32(0xFFFFFF00) + good[12:]
    yield "data_table_past_end.sfo", good[:12] + le32(0xFFFFFF00) + good[16:]
    bad_len = bytearray(good)
    bad_len[24:28] = le32(0xFFFFFFF0)
    yield "value_length_huge.sfo", bytes(bad_len)


# ---- ISO 9660: 2048-byte sectors, a root directory holding SYSTEM.CNF -------------------

def iso(cnf=b"BOOT = cdrom:\\SLUS_005.94;1\r\nTCB = 4\r\n", root_lba=18, root_size=2048,
        cnf_lba=19, cnf_size=None, sectors=24):
    def record(name, lba, size, flags):
        body = le32(lba) + struct.pack(">I", lba) + le32(size) + struct.pack(">I", size)
        body += bytes(7) + bytes([flags, 0, 0]) + le16(1) + struct.pack(">H", 1)
        body += bytes([len(name)]) + name
        if len(name) % 2 == 0:
            body += b"\0"
        return bytes([len(body) + 2, 0]) + body
    disc = bytearray(2048 * sectors)
    pvd = bytearray(2048)
    pvd[0:6] = b"\x01CD001"
    pvd[156:156 + 34] = record(b"\0", root_lba, root_size, 2)
    disc[16 * 2048:17 * 2048] = pvd
    disc[17 * 2048:17 * 2048 + 6] = b"\xffCD001"
    directory = (record(b"\0", root_lba, 2048, 2) + record(b"\1", root_lba, 2048, 2) +
                 record(b"SYSTEM.CNF;1", cnf_lba, len(cnf) if cnf_size is None else cnf_size, 0))
    if 0 <= root_lba < sectors:
        disc[root_lba * 2048:root_lba * 2048 + len(directory)] = directory
    if 0 <= cnf_lba < sectors:
        disc[cnf_lba * 2048:cnf_lba * 2048 + len(cnf)] = cnf
    return bytes(disc)


def iso_cases():
    yield "good.iso", iso()
    yield "empty.iso", b""
    yield "cut_before_pvd.iso", iso()[:16 * 2048 + 100]
    yield "root_past_end.iso", iso(root_lba=0x7FFFFFF0)
    yield "root_size_huge.iso", iso(root_size=0xFFFFFFFF)
    yield "cnf_past_end.iso", iso(cnf_lba=0xFFFFFF)
    yield "cnf_size_huge.iso", iso(cnf_size=0xFFFFFFF0)
    yield "cnf_without_boot.iso", iso(cnf=b"TCB = 4\r\n")
    yield "boot_without_name.iso", iso(cnf=b"BOOT = cdrom:\\\r\n")


def game_list_cases():
    yield "good.txt", (b"SLUS-00594;SLUS00594;Gran Turismo;Gran Turismo [NTSC-U];NTSC;SLUS00594\n"
                       b"SCES-02105;SCES02105;Save;Title [PAL-E] x;PAL;SCES02105\r\n")
    yield "empty.txt", b""
    yield "short.txt", b"SLUS-00594;SLUS-00594;\n"
    yield "no_semicolons.txt", b"x" * 80 + b"\n"
    yield "utf8_in_title.txt", "SLUS-00001;SLUS00001;Sav\u00e9;T\u00eftle [NTSC-;NTSC;SLUS00001\n".encode()
    yield "cut_utf8.txt", b"SLUS-00001;SLUS00001;S\xc3;T\xe2\x82;NTSC;SLUS00001\n"
    yield "tag_without_end.txt", b"SLUS-00001;SLUS00001;Save;Title [PAL-x;PAL;SLUS00001\n"


# ---- Disc sheets: the first byte picks the parser (0 CUE, 1 CloneCD, 2 MDS) -------------

CUE_SET = (b'FILE "a (Track 1).bin" BINARY\n TRACK 01 MODE2/2352\n  INDEX 01 00:00:00\n'
           b'  POSTGAP 00:02:00\nFILE "b.bin" BINARY\n TRACK 02 AUDIO\n  PREGAP 00:02:00\n'
           b'  INDEX 00 00:00:00\n  INDEX 01 00:02:00\n')
CCD_GAME = (b"[CloneCD]\nVersion=3\n[Disc]\nSessions=1\n[Entry 0]\nPoint=0xa0\nControl=0x04\n"
            b"PLBA=4350\n[Entry 1]\nPoint=0x01\nControl=0x04\nPLBA=0\n[TRACK 1]\nMODE=2\n"
            b"INDEX 1=0\n")


def mds(sessions=1, sessions_at=0x58, tracks_at=0x70, block_count=1, extra_at=0xC0,
        sector_size=0x930, start_offset=0, pregap=0, length=0x1000, medium=0):
    """One session of one track (mode 2, point 1) with its extra block (pregap, length)."""
    head = bytearray(0x58)
    head[0:16] = b"MEDIA DESCRIPTOR"
    head[0x10:0x12] = bytes([1, 3])
    head[0x12:0x14] = le16(medium)
    head[0x14:0x16] = le16(sessions)
    head[0x50:0x54] = le32(sessions_at)
    session = (le32(0xFFFFFF6A) + le32(0x1000) + le16(1) + bytes([block_count, 0]) + le16(1) +
               le16(1) + le32(0) + le32(tracks_at))
    track = bytearray(80)
    track[0] = 0xAB  # mode 2
    track[2] = 0x14
    track[4] = 1
    track[6] = 2
    track[10] = 2
    track[12:16] = le32(extra_at)
    track[16:18] = le16(sector_size)
    track[36:40] = le32(0)
    track[40:48] = struct.pack("<Q", start_offset)
    extra = le32(pregap) + le32(length)
    return bytes(head) + session + bytes(track) + extra


def disc_sheet_cases():
    yield "set.cue", b"\0" + CUE_SET
    yield "game.ccd", b"\1" + CCD_GAME
    yield "game.mds", b"\2" + mds()
    # CUE: a line of 5000 bytes (more than a sheet line may be), CR-only line ends, a byte
    # order mark, INDEX before any TRACK, frames of 75 and minutes of 100, a FILE without
    # quotes or type, tracks out of order, a cut line, a NUL in a name, an empty sheet.
    yield "cue_long_line.cue", b"\0" + b"REM " + b"x" * 5000 + b"\n" + CUE_SET
    yield "cue_cr_only.cue", b"\0" + CUE_SET.replace(b"\n", b"\r")
    yield "cue_bom.cue", b"\0\xef\xbb\xbf" + CUE_SET
    yield "cue_index_first.cue", b"\0  INDEX 01 00:00:00\n" + CUE_SET
    yield "cue_bad_times.cue", b"\0" + CUE_SET.replace(b"00:02:00", b"99:99:75")
    yield "cue_file_bare.cue", b"\0FILE\n TRACK 01 MODE1/2352\n  INDEX 01 00:00:00\n"
    yield "cue_tracks_backwards.cue", b"\0" + CUE_SET.replace(b"TRACK 02", b"TRACK 00")
    yield "cue_cut.cue", b"\0" + CUE_SET[:60]
    yield "cue_nul_in_name.cue", b"\0" + CUE_SET.replace(b"b.bin", b"b\0.bin")
    yield "cue_absolute_file.cue", b"\0" + CUE_SET.replace(b'"b.bin"', b'"/dev/zero"')
    yield "cue_empty.cue", b"\0"
    # CloneCD: an entry without its values, a negative and a huge PLBA, a TRACK section with
    # no index, numbers that are not numbers.
    yield "ccd_no_values.ccd", b"\1[CloneCD]\n[Entry 0]\n[Entry 1]\nPoint=\n"
    yield "ccd_plba_extremes.ccd", b"\1" + CCD_GAME.replace(b"PLBA=4350", b"PLBA=-2147483648").replace(
        b"PLBA=0", b"PLBA=99999999999")
    yield "ccd_track_without_index.ccd", b"\1" + CCD_GAME.replace(b"INDEX 1=0\n", b"")
    yield "ccd_not_numbers.ccd", b"\1" + CCD_GAME.replace(b"0x01", b"0xZZ").replace(b"MODE=2", b"MODE=x")
    # MDS: no session, too many, tables past the end, a huge block count, an extra block past
    # the end, a sector size of 0, a DVD, a file cut inside the track block.
    yield "mds_no_session.mds", b"\2" + mds(sessions=0)
    yield "mds_sessions_huge.mds", b"\2" + mds(sessions=0xFFFF)
    yield "mds_sessions_past_end.mds", b"\2" + mds(sessions_at=0xFFFFFFF0)
    yield "mds_tracks_past_end.mds", b"\2" + mds(tracks_at=0x7FFFFFFF)
    yield "mds_block_count_huge.mds", b"\2" + mds(block_count=0xFF)
    yield "mds_extra_past_end.mds", b"\2" + mds(extra_at=0xFFFFFFF8)
    yield "mds_sector_size_zero.mds", b"\2" + mds(sector_size=0)
    yield "mds_dvd.mds", b"\2" + mds(medium=0x10)
    yield "mds_cut_in_track.mds", b"\2" + mds()[:0x90]


# ---- CHD, version 5, uncompressed (every integer big-endian) ----------------------------

def be32(v):
    return struct.pack(">I", v & 0xFFFFFFFF)


def be64(v):
    return struct.pack(">Q", v & 0xFFFFFFFFFFFFFFFF)


def chd(tracks=((b"MODE2_RAW", 8), (b"AUDIO", 8)), hunk_frames=8, version=5, map_cut=0,
        hunk_block=None, meta_loop=False, unit=2448, logical=None, data_hunks=None):
    frames = sum(n for _, n in tracks)
    hunk_bytes = hunk_frames * 2448
    hunks = (frames + hunk_frames - 1) // hunk_frames
    map_at = 124
    meta_at = map_at + 4 * hunks
    meta = b""
    for i, (kind, n) in enumerate(tracks):
        text = (b"TRACK:%d TYPE:%s SUBTYPE:NONE FRAMES:%d PREGAP:0 PGTYPE:MODE1 PGSUB:NONE "
                b"POSTGAP:0\0" % (i + 1, kind, n))
        here = meta_at + len(meta)
        last = i == len(tracks) - 1
        nxt = (meta_at if meta_loop else 0) if last else here + 16 + len(text)
        meta += b"CHT2" + bytes([1]) + be32(len(text))[1:] + be64(nxt) + text
    data_at = meta_at + len(meta)
    first_block = (data_at + hunk_bytes - 1) // hunk_bytes
    entries = b"".join(be32(first_block + h if hunk_block is None else hunk_block)
                       for h in range(hunks))
    head = (b"MComprHD" + be32(124) + be32(version) + bytes(16) +
            be64(frames * 2448 if logical is None else logical) + be64(map_at) + be64(meta_at) +
            be32(hunk_bytes) + be32(unit) + bytes(60))
    body = head + entries[:len(entries) - map_cut] + meta
    body += bytes(first_block * hunk_bytes - len(body))
    for h in range(hunks if data_hunks is None else data_hunks):
        hunk = bytearray(hunk_bytes)
        for f in range(hunk_frames):
            sector = h * hunk_frames + f
            row = bytes([(sector * 7 + k) & 0xFF for k in range(16)])
            hunk[f * 2448:f * 2448 + 2352] = row * 147
        body += bytes(hunk)
    return body


def chd_cases():
    good = chd()
    yield "none_two_tracks.chd", good
    yield "none_cut_in_header.chd", good[:60]
    yield "none_cut_in_map.chd", chd(map_cut=2)[:126]
    yield "none_cut_in_hunk.chd", good[:-1000]
    yield "none_hunk_past_end.chd", chd(hunk_block=0xFFFFFF)
    yield "none_metadata_loop.chd", chd(meta_loop=True)
    yield "none_unit_zero.chd", chd(unit=0)
    # The tracks claim a thousand frames; the map and the data hold two hunks' worth.
    yield "none_frames_beyond_data.chd", chd(tracks=((b"MODE1_RAW", 1000),), logical=16 * 2448,
                                             data_hunks=2)
    yield "none_version4.chd", chd(version=4)
    yield "none_hunk_not_frames.chd", chd(hunk_frames=1)[:124] + bytes(8)


# ---- ECM: "ECM\0", records (type and count), the end mark and the EDC of the output ----

EDC_LUT = []
for _i in range(256):
    _e = _i
    for _k in range(8):
        _e = (_e >> 1) ^ (0xD8018001 if _e & 1 else 0)
    EDC_LUT.append(_e)
ECC_F = [((i << 1) ^ (0x11D if i & 0x80 else 0)) & 0xFF for i in range(256)]
ECC_B = [0] * 256
for _i in range(256):
    ECC_B[_i ^ ECC_F[_i]] = _i


def edc(data, e=0):
    for b in data:
        e = (e >> 8) ^ EDC_LUT[(e ^ b) & 0xFF]
    return e


def ecc_block(sector, major_count, minor_count, major_mult, minor_inc, dest):
    size = major_count * minor_count
    for major in range(major_count):
        index = (major >> 1) * major_mult + (major & 1)
        a = b = 0
        for _ in range(minor_count):
            t = sector[0xC + index]
            index += minor_inc
            if index >= size:
                index -= size
            a ^= t
            b ^= t
            a = ECC_F[a]
        a = ECC_B[ECC_F[a] ^ b]
        sector[dest + major] = a
        sector[dest + major + major_count] = a ^ b


def ecc(sector, zero_address):
    saved = bytes(sector[12:16])
    if zero_address:
        sector[12:16] = bytes(4)
    ecc_block(sector, 86, 24, 2, 86, 0x81C)
    ecc_block(sector, 52, 43, 86, 88, 0x8C8)
    sector[12:16] = saved


SYNC = b"\0" + b"\xff" * 10 + b"\0"


def ecm_count(kind, count):
    n = count - 1
    out = bytes([(kind & 3) | ((n & 0x1F) << 2) | (0x80 if n >> 5 else 0)])
    n >>= 5
    while n:
        out += bytes([(n & 0x7F) | (0x80 if n >> 7 else 0)])
        n >>= 7
    return out


def ecm(records, edc_wrong=False, cut=None):
    """records: (kind, payloads); kind 0 literal bytes, 1 mode 1 (address, 2048 bytes),
    2 mode 2 form 1 (subheader, 2048 bytes), 3 mode 2 form 2 (subheader, 2324 bytes)."""
    out, decoded = b"ECM\0", b""
    for kind, items in records:
        if kind == 0:
            out += ecm_count(0, len(items)) + items
            decoded += items
            continue
        out += ecm_count(kind, len(items))
        for address, sub, data in items:
            s = bytearray(2352)
            if kind == 1:
                s[0:12] = SYNC
                s[12:15] = address
                s[15] = 1
                s[16:16 + 2048] = data
                s[0x810:0x814] = le32(edc(s[0:0x810]))
                ecc(s, False)
                out += address + data
                decoded += bytes(s)
            elif kind == 2:
                s[15] = 2
                s[0x10:0x14] = sub
                s[0x14:0x18] = sub
                s[0x18:0x18 + 2048] = data
                s[0x818:0x81C] = le32(edc(s[0x10:0x818]))
                ecc(s, True)
                out += sub + data
                decoded += bytes(s[0x10:])
            else:
                s[0x10:0x14] = sub
                s[0x14:0x18] = sub
                s[0x18:0x18 + 2324] = data
                s[0x92C:0x930] = le32(edc(s[0x10:0x92C]))
                out += sub + data
                decoded += bytes(s[0x10:])
    out += bytes([0xFC, 0xFF, 0xFF, 0xFF, 0x3F]) + le32(edc(decoded) ^ (1 if edc_wrong else 0))
    return out if cut is None else out[:cut]


def ecm_cases():
    text = b"hello world" * 10
    mode1 = [(bytes([0, 2, i]), None, bytes([i]) * 2048) for i in range(3)]
    form1 = [(None, bytes([0, 0, 8, 0]), bytes(range(256)) * 8)]
    form2 = [(None, bytes([0, 0, 0x20, 0]), bytes([0x5A]) * 2324)]
    mixed = [(0, text), (1, mode1), (2, form1), (3, form2), (0, b"tail")]
    yield "literal.ecm", ecm([(0, text)])
    yield "empty.ecm", ecm([])
    yield "mixed_all_kinds.ecm", ecm(mixed)
    yield "edc_wrong.ecm", ecm(mixed, edc_wrong=True)
    yield "cut_in_sector.ecm", ecm(mixed, cut=200)
    yield "cut_before_edc.ecm", ecm([(0, text)])[:-2]
    yield "no_magic.ecm", b"ECN\0" + ecm([(0, text)])[4:]
    yield "count_overlong.ecm", b"ECM\0" + bytes([0xFC, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01]) + text
    yield "sectors_claimed_not_there.ecm", b"ECM\0" + ecm_count(1, 1000000) + bytes(100)


# ---- XML DAT files for verify --dat ------------------------------------------------------

def dat_cases():
    good = (b'<?xml version="1.0"?>\n<!DOCTYPE datafile>\n<datafile>\n'
            b' <header><name>Sony - PlayStation</name></header>\n'
            b' <game name="Game (USA)">\n'
            b'  <rom name="Game (USA).cue" size="300" crc="deadbeef"/>\n'
            b'  <rom name="Game (USA) (Track 1).bin" size="705600" crc="1a2b3c4d" '
            b'md5="00112233445566778899aabbccddeeff" '
            b'sha1="00112233445566778899aabbccddeeff00112233"/>\n'
            b'  <rom name="Game (USA) (Track 2).bin" size="882000" crc="DEADBEEF"/>\n'
            b' </game>\n <machine name="Other"><rom name="o.bin" size="1"/></machine>\n'
            b'</datafile>\n')
    yield "good.dat", good
    yield "empty.dat", b""
    yield "cut_in_element.dat", good[:200]
    yield "no_datafile.dat", b"<?xml version=\"1.0\"?><games/>"
    yield "size_not_a_number.dat", good.replace(b'size="705600"', b'size="-1e99"')
    yield "size_overflow.dat", good.replace(b'size="882000"', b'size="99999999999999999999999"')
    yield "rom_without_attributes.dat", good.replace(b'<rom name="o.bin" size="1"/>', b"<rom/>")
    yield "nested_deep.dat", b"<datafile>" + b"<game>" * 2000 + b"</game>" * 2000 + b"</datafile>"
    yield "entities.dat", (b'<!DOCTYPE d [<!ENTITY a "aaaaaaaaaa">]><datafile><game name="&a;&a;&a;">'
                           b'<rom name="&#0;" crc="&#xFFFFFF;"/></game></datafile>')
    yield "binary_junk.dat", bytes(range(256)) * 4


# ---- Patches: PPF, IPS, BPS, VCDIFF against the targets' 64 KiB image ------------------

FUZZ_IMAGE = bytes(((i * 7 + i // 256) & 0xFF) for i in range(65536))


def be(v, n):
    return v.to_bytes(n, "big")


def ppf_cases():
    desc = b"fuzz seed".ljust(50, b" ")
    rec1 = le32(0x9318) + bytes([12]) + bytes(range(12))  # across a sector edge
    yield "ppf1.ppf", b"PPF10\x00" + desc + rec1
    block = FUZZ_IMAGE[0x9320:0x9320 + 1024]
    diz = b"@BEGIN_FILE_ID.DIZ" + b"a fix\r\n" + b"@END_FILE_ID.DIZ"
    ppf2 = b"PPF20\x01" + desc + le32(len(FUZZ_IMAGE)) + block + rec1
    yield "ppf2.ppf", ppf2
    yield "ppf2_diz.ppf", ppf2 + diz + le32(7)
    yield "ppf2_diz_length_lies.ppf", ppf2 + diz + le32(0xFFFFFFFF)
    yield "ppf2_wrong_block.ppf", ppf2[:60] + bytes(1024) + rec1
    rec3 = struct.pack("<Q", 0x10) + bytes([4]) + b"abcd" + b"WXYZ"
    yield "ppf3_undo.ppf", b"PPF30\x02" + desc + bytes([0, 1, 1, 0]) + block + rec3
    yield "ppf3_undo_diz.ppf", (b"PPF30\x02" + desc + bytes([0, 1, 1, 0]) + block + rec3 + diz +
                                le16(7))
    yield "ppf3_no_block.ppf", b"PPF30\x02" + desc + bytes([1, 0, 0, 0]) + rec3[:13]
    yield "ppf3_past_end.ppf", (b"PPF30\x02" + desc + bytes([0, 0, 0, 0]) +
                                struct.pack("<Q", 1 << 62) + b"\x01z")
    yield "ppf3_cut.ppf", b"PPF30\x02" + desc + bytes([0, 0, 1, 0]) + rec3[:11]
    yield "ppf_version_9.ppf", b"PPF90\x08" + desc
    yield "ppf_header_cut.ppf", b"PPF20\x01" + desc[:10]


def ips_cases():
    good = b"PATCH" + be(0x10, 3) + be(3, 2) + b"abc" + be(0xFFF0, 3) + be(0, 2) + be(40, 2) + b"\x55"
    yield "ips.ips", good + b"EOF"
    yield "ips_truncate.ips", good + b"EOF" + be(0x100, 3)
    yield "ips_junk_after_eof.ips", good + b"EOF" + b"ju"
    yield "ips_no_eof.ips", good
    yield "ips_cut_record.ips", b"PATCH" + be(0x10, 3) + be(300, 2) + b"ab"
    yield "ips_rle_huge.ips", b"PATCH" + be(0xFFFFFE, 3) + be(0, 2) + be(0xFFFF, 2) + b"\x01EOF"
    yield "ips_empty.ips", b"PATCHEOF"


def bps_number(v):
    out = b""
    while True:
        x = v & 0x7F
        v >>= 7
        if v == 0:
            return out + bytes([0x80 | x])
        out += bytes([x])
        v -= 1


def bps(source_size, target_size, actions, source_crc, target_crc, metadata=b""):
    body = (b"BPS1" + bps_number(source_size) + bps_number(target_size) +
            bps_number(len(metadata)) + metadata + actions)
    body += le32(source_crc) + le32(target_crc)
    return body + le32(zlib.crc32(body))


def bps_cases():
    n = len(FUZZ_IMAGE)
    target = bytearray(FUZZ_IMAGE)
    target[100:104] = b"abcd"
    actions = (bps_number(((100 - 1) << 2) | 0) + bps_number(((4 - 1) << 2) | 1) + b"abcd" +
               bps_number(((n - 104 - 1) << 2) | 2) + bps_number(104 << 1))
    good = bps(n, n, actions, zlib.crc32(FUZZ_IMAGE), zlib.crc32(bytes(target)))
    yield "bps.bps", good
    yield "bps_patch_crc_wrong.bps", good[:-1] + bytes([good[-1] ^ 1])
    yield "bps_source_crc_wrong.bps", bps(n, n, actions, 0, zlib.crc32(bytes(target)))
    run = bps_number(((1 - 1) << 2) | 1) + b"z" + bps_number(((5000 - 1) << 2) | 3) + bps_number(0)
    yield "bps_target_copy_run.bps", bps(n, 5001, run, zlib.crc32(FUZZ_IMAGE), 0)
    yield "bps_copy_before_start.bps", bps(n, 10, bps_number((9 << 2) | 2) + bps_number(3),
                                           zlib.crc32(FUZZ_IMAGE), 0)
    yield "bps_target_huge.bps", bps(n, 1 << 40, b"", zlib.crc32(FUZZ_IMAGE), 0)
    yield "bps_number_overflow.bps", b"BPS1" + b"\x00" * 12 + b"\x80" + bytes(12)
    yield "bps_cut.bps", good[:9]


def vcdiff_integer(v):
    out = bytes([v & 0x7F])
    v >>= 7
    while v:
        out = bytes([0x80 | (v & 0x7F)]) + out
        v >>= 7
    return out


def vcdiff_window(source, target_len, data, inst, addr, adler=None, indicator=None, delta=0):
    ind = (1 if source else 0) | (4 if adler is not None else 0) if indicator is None else indicator
    head = vcdiff_integer(target_len) + bytes([delta])
    head += vcdiff_integer(len(data)) + vcdiff_integer(len(inst)) + vcdiff_integer(len(addr))
    if adler is not None:
        head += be(adler, 4)
    w = bytes([ind])
    if source:
        w += vcdiff_integer(source[0]) + vcdiff_integer(source[1])
    return w + vcdiff_integer(len(head) + len(data) + len(inst) + len(addr)) + head + data + inst + addr


def vcdiff_cases():
    # ADD 3 (code 4), COPY 0 mode 0 with its size (code 19), RUN (code 0).
    target = b"xyz" + FUZZ_IMAGE[1000:1100] + b"Q" * 20
    inst = bytes([4, 19]) + vcdiff_integer(100) + bytes([0]) + vcdiff_integer(20)
    win = vcdiff_window((100, 900), len(target), b"xyzQ", inst, vcdiff_integer(100),
                        adler=zlib.adler32(target))
    head = b"\xd6\xc3\xc4\x00\x00"
    yield "vcdiff.vcdiff", head + win
    yield "vcdiff_adler_wrong.vcdiff", head + vcdiff_window((100, 900), len(target), b"xyzQ", inst,
                                                            vcdiff_integer(100), adler=1)
    yield "vcdiff_source_past_end.vcdiff", head + vcdiff_window((100, 1 << 40), len(target), b"xyzQ",
                                                                inst, vcdiff_integer(100))
    yield "vcdiff_target_window.vcdiff", head + vcdiff_window((100, 0), 3, b"xyz", bytes([4]), b"",
                                                              indicator=2)
    yield "vcdiff_djw.vcdiff", b"\xd6\xc3\xc4\x00\x01\x01" + win
    yield "vcdiff_lzma_junk.vcdiff", b"\xd6\xc3\xc4\x00\x01\x02" + vcdiff_window(
        None, 10, b"\x0a\xfd7zXZ\x00junk", bytes([4]), b"", delta=1)
    yield "vcdiff_code_table.vcdiff", b"\xd6\xc3\xc4\x00\x02\x05\x04\x03abc"
    yield "vcdiff_app_header_lies.vcdiff", b"\xd6\xc3\xc4\x00\x04\x8f\xff\xff\x7f"
    yield "vcdiff_window_huge.vcdiff", head + b"\x00" + vcdiff_integer(20) + vcdiff_integer(1 << 40)
    yield "vcdiff_cut.vcdiff", (head + win)[:20]
    # Patches made by xdelta3 itself, when it is installed where this runs.
    if shutil.which("xdelta3"):
        with tempfile.TemporaryDirectory() as tmp:
            src, tgt = os.path.join(tmp, "src"), os.path.join(tmp, "tgt")
            with open(src, "wb") as f:
                f.write(FUZZ_IMAGE)
            changed = bytearray(FUZZ_IMAGE)
            changed[5000:5100] = bytes(range(100, 200))
            changed[40000:40000] = b"inserted" * 50
            with open(tgt, "wb") as f:
                f.write(bytes(changed))
            for mode in ("none", "lzma"):
                subprocess.run(["xdelta3", "-e", "-f", "-S", mode, "-s", "src", "tgt", mode],
                               check=True, cwd=tmp)
                with open(os.path.join(tmp, mode), "rb") as f:
                    yield "xdelta3_" + mode + ".vcdiff", f.read()


def main():
    for target, cases in (("package", package_cases()), ("package", title_package_cases()),
                          ("sfo", sfo_cases()), ("iso_game_id", iso_cases()),
                          ("game_list", game_list_cases()), ("bmp", bmp_cases()),
                          ("ico", ico_cases()), ("document_dat", doc_cases()),
                          ("disc_sheets", disc_sheet_cases()), ("chd", chd_cases()),
                          ("ecm", ecm_cases()), ("dat", dat_cases()), ("ppf", ppf_cases()),
                          ("ips", ips_cases()), ("bps", bps_cases()), ("vcdiff", vcdiff_cases())):
        for name, data in cases:
            write(target, name, data)


if __name__ == "__main__":
    main()
