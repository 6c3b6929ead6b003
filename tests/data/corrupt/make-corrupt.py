#!/usr/bin/env python3
"""Makes the hand-built damaged inputs of this folder, each named for what it
breaks. Run it here to make them again: python3 make-corrupt.py

Endings name the fuzz target that replays a file (fuzz/Targets.cmake):
.psd whole files, .res image resources sections (from the length word). Inputs the fuzzers found are kept beside
these, under names that say what they broke; they are not made here.
"""
import os
import struct


def u8(v):
    return struct.pack('>B', v & 0xFF)


def u16(v):
    return struct.pack('>H', v & 0xFFFF)


def u32(v):
    return struct.pack('>I', v & 0xFFFFFFFF)


def header(channels=3, rows=2, columns=2, depth=8, mode=3, version=1):
    return b'8BPS' + u16(version) + bytes(6) + u16(channels) + u32(rows) + u32(columns) + u16(depth) + u16(mode)


def block(rid, payload, size=None, name=b''):
    """A resource block; `size` is what the size word claims."""
    n = len(name)
    name_bytes = u8(n) + name + (b'' if n % 2 else b'\0')
    out = b'8BIM' + u16(rid) + name_bytes + u32(len(payload) if size is None else size) + payload
    return out + (b'\0' if len(payload) % 2 else b'')


def resources(blocks, length=None):
    return u32(len(blocks) if length is None else length) + blocks


COMPOSITE = u16(0) + bytes(12)  # raw, 3 channels of 2 x 2


def psd(res=resources(b''), layers=u32(0), composite=COMPOSITE, color_mode=b''):
    return header() + u32(len(color_mode)) + color_mode + res + layers + composite


def icc_header(size):
    return (u32(size) + b'Lino' + bytes([2, 0x10, 0, 0]) + b'mntr' + b'RGB ' + b'XYZ ' +
            u16(1998) + u16(2) + u16(9) + u16(6) + u16(49) + u16(0) + b'acsp' + b'MSFT' + bytes(84))


def icc(tags, data, count=None, size=None):
    """tags: (id, offset, size) entries; data follows the table."""
    body = u32(len(tags) if count is None else count)
    for tid, off, sz in tags:
        body += tid + u32(off) + u32(sz)
    body += data
    total = 128 + len(body)
    return icc_header(total if size is None else size) + body


def one_tag(tid, payload, size=None):
    """A profile with one tag whose payload sits right behind the table."""
    return icc([(tid, 144, len(payload) if size is None else size)], payload)


def thumbnail(compressed_size, stream, fmt=1):
    return u32(fmt) + u32(160) + u32(120) + u32(480) + u32(57600) + u32(compressed_size) + u16(24) + u16(1) + stream


def layer_record(channels=((0, 2),), extra=None, name=b''):
    r = u32(0) + u32(0) + u32(2) + u32(2) + u16(len(channels))
    for cid, length in channels:
        r += u16(cid) + u32(length)
    r += b'8BIM' + b'norm' + u8(255) + u8(0) + u8(8) + u8(0)
    if extra is None:
        padded = (len(name) + 4) & ~3
        tail = u32(0) + u32(0) + u8(len(name)) + name + bytes(padded - 1 - len(name))
        extra = u32(len(tail)) + tail
    return r + extra


def layer_section(info, global_mask=u32(0), length=None, info_length=None):
    body = u32(len(info) if info_length is None else info_length) + info + global_mask
    return u32(len(body) if length is None else length) + body


FILES = {}

# Header and sections.
FILES['header-cut-at-25.psd'] = header()[:25]
FILES['psb-version-2.psd'] = header(version=2) + psd()[26:]
FILES['color-mode-length-ffffffff.psd'] = header() + u32(0xFFFFFFFF) + bytes(32)
FILES['resources-length-past-eof.psd'] = header() + u32(0) + resources(block(1000, bytes(8)), 0x7FFFFFFF)
FILES['layer-section-length-ffffffff.psd'] = psd(layers=layer_section(b'', length=0xFFFFFFFF))
for compression, kind in ((0, 'raw'), (1, 'rle'), (3, 'zip-prediction')):
    FILES['composite-huge-dimensions-%s.psd' % kind] = (header(56, 0x7FFFFFFF, 0x7FFFFFFF, 32, 3) + u32(0) * 3 +
                                                        u16(compression) + bytes(12))

# Resource blocks.
FILES['resource-size-ffffffff.psd'] = psd(resources(block(1000, bytes(16), 0xFFFFFFFF)))
FILES['resource-odd-size-pad-outside-section.psd'] = psd(resources(block(1000, bytes(5))[:-1]))
FILES['resource-name-255-past-section.psd'] = psd(resources(b'8BIM' + u16(1000) + u8(255) + bytes(13), 20))
FILES['resource-blocks-overrun-section.psd'] = psd(resources(block(1000, bytes(8)) + block(1001, bytes(8)), 30))
FILES['resolution-size-7fffffff.psd'] = psd(resources(block(1005, bytes(16), 0x7FFFFFFF)))
FILES['resource-section-short-of-last-block.psd'] = psd(resources(block(1005, bytes(16)), 20))

# ICC profiles (resource 1039).
ICC = {
    'icc-empty': b'',
    'icc-131-bytes': icc_header(131)[:128] + bytes(3),
    'icc-tag-count-ffffffff': icc([(b'cprt', 156, 12), (b'wtpt', 156, 12)], b'text' + bytes(8), count=0xFFFFFFFF),
    'icc-tag-table-past-end': icc([(b'cprt', 144, 12)], b'', count=10),
    'icc-tag-offset-past-profile': icc([(b'cprt', 0x7FFFFFF0, 16)], b'text' + bytes(12)),
    'icc-tag-offset-size-wrap': icc([(b'cprt', 0xFFFFFFF0, 0x20)], b'text' + bytes(12)),
    'icc-tag-size-ffffffff': icc([(b'cprt', 144, 0xFFFFFFFF)], b'text' + bytes(12)),
    'icc-last-tag-padding-missing': icc([(b'cprt', 144, 13)], b'text' + bytes(4) + b'abcd\0'),
    'icc-text-without-terminator': one_tag(b'cprt', b'text' + bytes(4) + b'abcd'),
    'icc-desc-count-ffffffff': one_tag(b'desc', b'desc' + bytes(4) + u32(0xFFFFFFFF) + b'abcd'),
    'icc-desc-12-bytes': one_tag(b'desc', b'desc' + bytes(4) + u32(1)),
    'icc-curv-count-ffffffff': one_tag(b'rTRC', b'curv' + bytes(4) + u32(0xFFFFFFFF)),
    'icc-curv-type-word-only': one_tag(b'rTRC', b'curv'),
    'icc-meas-12-bytes': one_tag(b'meas', b'meas' + bytes(8)),
    'icc-view-12-bytes': one_tag(b'view', b'view' + bytes(8)),
    'icc-xyz-12-bytes': one_tag(b'wtpt', b'XYZ ' + bytes(8)),
    'icc-sig-8-bytes': one_tag(b'tech', b'sig ' + bytes(4)),
    'icc-tag-size-0': one_tag(b'cprt', b'', size=0),
    'icc-tags-share-bytes': icc([(b'cprt', 156, 12), (b'desc', 156, 12)], b'text' + bytes(4) + b'ab\0\0'),
    'icc-profile-size-ffffffff': icc([], b'', size=0xFFFFFFFF),
    # 300 entries on the whole profile: copies for all would be 300 times it.
    'icc-300-tags-share-bytes': icc([(u32(0x74657374 + i), 0, 132 + 12 * 300 + 400) for i in range(300)], bytes(400)),
}
for name, payload in ICC.items():
    FILES[name + '.psd'] = psd(resources(block(1039, payload)))

# Thumbnails (resource 1036).
THUMBNAILS = {
    'thumbnail-empty': b'',
    'thumbnail-27-bytes': thumbnail(0, b'')[:27],
    'thumbnail-compressed-size-ffffffff': thumbnail(0xFFFFFFFF, bytes(10)),
    'thumbnail-compressed-size-past-block': thumbnail(64, bytes(10)),
    'thumbnail-odd-stream': thumbnail(5, bytes(5)),
    'thumbnail-format-7': thumbnail(4, bytes(4), fmt=7),
    'thumbnail-dimensions-ffffffff': u32(0) + u32(0xFFFFFFFF) * 4 + u32(10) + u16(24) + u16(1) + bytes(10),
}
for name, payload in THUMBNAILS.items():
    FILES[name + '.psd'] = psd(resources(block(1036, payload)))

# Resource sections on their own.
FILES['res-empty.res'] = b''
FILES['res-length-only.res'] = u32(100)
FILES['res-block-size-past-section.res'] = resources(block(1000, bytes(8), 0x100), 20)
FILES['res-short-thumbnail-and-icc.res'] = resources(block(1036, bytes(4)) + block(1039, bytes(4)))
FILES['res-named-blocks-odd-sizes.res'] = resources(block(1000, bytes(3), name=b'a') + block(1005, bytes(16), name=b'ab'))

# Layer and mask sections.
LAYERS = {
    'layer-count-ffff-no-records': layer_section(u16(0xFFFF) + bytes(8)),
    'layer-count-negative-8000': layer_section(u16(0x8000) + bytes(8)),
    'layer-channel-count-ffff': layer_section(u16(1) + u32(0) + u32(0) + u32(2) + u32(2) + u16(0xFFFF) + bytes(12)),
    'layer-channel-length-0': layer_section(u16(1) + layer_record(((0, 0), (1, 0))) + u16(0) + u16(0)),
    'layer-channel-length-ffffffff': layer_section(u16(1) + layer_record(((0, 0xFFFFFFFF),)) + u16(0)),
    'layer-extra-length-short': layer_section(u16(1) + layer_record(extra=u32(4) + u32(0) + u32(0) + bytes(4)) + u16(0)),
    'layer-extra-length-10000-more': layer_section(
        u16(1) + layer_record(extra=u32(0x10000 + 12) + u32(0) + u32(0) + bytes(4)) + u16(0)),
    'layer-blending-length-4': layer_section(
        u16(1) + layer_record(extra=u32(16) + u32(0) + u32(4) + bytes(4) + bytes(4)) + u16(0)),
    'layer-mask-length-2': layer_section(
        u16(1) + layer_record(extra=u32(14) + u32(2) + bytes(2) + u32(0) + bytes(4)) + u16(0)),
    'layer-mask-length-ffffffff': layer_section(
        u16(1) + layer_record(extra=u32(32) + u32(0xFFFFFFFF) + bytes(28)) + u16(0)),
    'layer-additional-length-ffffffff': layer_section(
        u16(1) + layer_record(extra=u32(24) + u32(0) + u32(0) + bytes(4) + b'8BIMluni' + u32(0xFFFFFFFF)) + u16(0)),
    'layer-additional-length-past-extra': layer_section(
        u16(1) + layer_record(extra=u32(28) + u32(0) + u32(0) + bytes(4) + b'8BIMlyid' + u32(8) + bytes(4)) +
        u16(0) + bytes(8)),
    'layer-name-255-past-section': layer_section(u16(1) + layer_record(extra=u32(12) + u32(0) + u32(0) + u8(255) + bytes(3))),
    'layer-global-mask-length-ffffffff': layer_section(b'', global_mask=u32(0xFFFFFFFF) + bytes(8), info_length=0),
    'layer-info-length-past-section': layer_section(u16(0), info_length=0x7FFFFFFF),
    'layer-section-odd-length-at-eof': layer_section(u16(0), global_mask=u32(0) + bytes(1)),
}
for name, section in LAYERS.items():
    composite = b'' if name == 'layer-section-odd-length-at-eof' else COMPOSITE
    FILES[name + '.psd'] = psd(layers=section, composite=composite)


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    for name, content in sorted(FILES.items()):
        with open(os.path.join(here, name), 'wb') as f:
            f.write(content)
    print('%d files' % len(FILES))


if __name__ == '__main__':
    main()
