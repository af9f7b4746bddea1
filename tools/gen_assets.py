#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Deterministic generator of the pictures and sounds of vorlen.

Run it with Debian's system Python, which carries PIL (python3-pil):

    /usr/bin/python3 tools/gen_assets.py

It writes the 31 PNG pictures and the death animation into resources/, the
three shot sounds into sounds/, the list of them all into resources.qrc, and
the application icon at its hicolor sizes into packaging/icons/, all next to this
tools/ folder.  Everything is drawn
and synthesised from fixed seeds, so two runs give byte-identical files.  The
build only needs the generated files, which are committed; this script is here to
remake or change them.

Pictures are drawn as vector shapes at 4x their size and downsampled with
LANCZOS; faint fringe pixels are then cleared so that the share of covered pixels
(alpha > 0) stays close to its target.  Each picture's overall scale is found
by bisection so that this share matches the target, since hits follow alpha.
"""

import math
import os
import random
import struct
import wave

from PIL import Image, ImageChops, ImageDraw, ImageFilter, ImageOps

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
RES_DIR = os.path.join(ROOT, "resources")
SND_DIR = os.path.join(ROOT, "sounds")
ICON_DIR = os.path.join(ROOT, "packaging", "icons")
ICON_SIZES = (16, 32, 48, 64, 128, 256)

SS = 4                # supersampling factor of the vector drawings
ALPHA_CUT = 12        # after downsampling, alpha below this becomes fully transparent

# Target share of covered pixels (alpha > 0) of each picture.
COVERAGE = {
    "player.png": 0.15, "dead_player.png": 0.14,
    "gun.png": 0.20, "shotgun.png": 0.27, "snipe.png": 0.25,
    "bullet.png": 0.47, "fireball.png": 0.45,
    "magicwand.png": 0.17, "crystal_ball.png": 0.35, "magichat.png": 0.13,
    "tree.png": 0.32, "tree2.png": 0.53,
    "flower.png": 0.05, "flower2.png": 0.05, "flower3.png": 0.05, "flower4.png": 0.05,
    "cactus.png": 0.21,
    "magicbullet1.png": 0.10, "magicbullet2.png": 0.10, "magicbullet3.png": 0.10,
    "magicbullet4.png": 0.10, "sparkle.png": 0.18,
    "water1.png": 0.12, "water2.png": 0.12, "water3.png": 0.12,
}


# ---------------------------------------------------------------------------
# Geometry helpers: every shape is a list of polygons in design units.
# ---------------------------------------------------------------------------

def ellipse(cx, cy, rx, ry, rot=0.0, n=72):
    c, s = math.cos(math.radians(rot)), math.sin(math.radians(rot))
    pts = []
    for i in range(n):
        a = 2 * math.pi * i / n
        x, y = rx * math.cos(a), ry * math.sin(a)
        pts.append((cx + x * c - y * s, cy + x * s + y * c))
    return [pts]


def circle(cx, cy, r):
    return ellipse(cx, cy, r, r)


def rrect(x0, y0, x1, y1, r=0.0, n=10):
    r = max(0.0, min(r, (x1 - x0) / 2, (y1 - y0) / 2))
    if r <= 0:
        return [[(x0, y0), (x1, y0), (x1, y1), (x0, y1)]]
    pts = []
    for (cx, cy, a0) in ((x1 - r, y0 + r, -90), (x1 - r, y1 - r, 0),
                         (x0 + r, y1 - r, 90), (x0 + r, y0 + r, 180)):
        for i in range(n + 1):
            a = math.radians(a0 + 90 * i / n)
            pts.append((cx + r * math.cos(a), cy + r * math.sin(a)))
    return [pts]


def capsule(p0, p1, w, n=16):
    (x0, y0), (x1, y1) = p0, p1
    r = w / 2
    ang = math.atan2(y1 - y0, x1 - x0)
    pts = []
    for i in range(n + 1):
        a = ang + math.pi / 2 + math.pi * i / n
        pts.append((x0 + r * math.cos(a), y0 + r * math.sin(a)))
    for i in range(n + 1):
        a = ang - math.pi / 2 + math.pi * i / n
        pts.append((x1 + r * math.cos(a), y1 + r * math.sin(a)))
    return [pts]


def stroke(points, w):
    polys = []
    for a, b in zip(points, points[1:]):
        polys += capsule(a, b, w)
    return polys


def star(cx, cy, R, r, n=4, rot=0.0):
    pts = []
    for i in range(2 * n):
        a = math.radians(rot - 90 + 180 * i / n)
        rad = R if i % 2 == 0 else r
        pts.append((cx + rad * math.cos(a), cy + rad * math.sin(a)))
    return [pts]


def bezier(p0, p1, p2, n=16):
    out = []
    for i in range(n + 1):
        t = i / n
        out.append(((1 - t) ** 2 * p0[0] + 2 * (1 - t) * t * p1[0] + t * t * p2[0],
                    (1 - t) ** 2 * p0[1] + 2 * (1 - t) * t * p1[1] + t * t * p2[1]))
    return out


# Gradient paints, in design units: ("lin", p0, p1, c0, c1[, cmid]) and
# ("rad", centre, radius, c0, c1[, cmid]).

def lin(p0, p1, c0, c1, cmid=None):
    return ("lin", p0, p1, c0, c1, cmid)


def rad(c, r, c0, c1, cmid=None):
    return ("rad", c, r, c0, c1, cmid)


def hlin(x0, x1, c0, c1, cmid=None):
    return lin((x0, 0), (x1, 0), c0, c1, cmid)


def vlin(y0, y1, c0, c1, cmid=None):
    return lin((0, y0), (0, y1), c0, c1, cmid)


_RAMP = None
_RADIAL = None


def _ramp():
    global _RAMP
    if _RAMP is None:
        off = 256 * 24
        data = bytes([0]) * off + bytes(range(256)) + bytes([255]) * off
        _RAMP = (Image.frombytes("L", (len(data), 1), data), off)
    return _RAMP


def _radial():
    global _RADIAL
    if _RADIAL is None:
        n = 512
        buf = bytearray(n * n)
        for y in range(n):
            dy = y + 0.5 - n / 2
            for x in range(n):
                dx = x + 0.5 - n / 2
                buf[y * n + x] = min(255, int(math.hypot(dx, dy) * 255 / 256 + 0.5))
        _RADIAL = Image.frombytes("L", (n, n), bytes(buf))
    return _RADIAL


def mix(c0, c1, t):
    return tuple(int(round(a + (b - a) * t)) for a, b in zip(c0, c1))


class Canvas:
    """An RGBA picture drawn at SS times its size, in design units.

    A design point (x, y) lands at t + R(rot) * ((x, y) - pivot) * (sx, sy)
    output pixels; by default design units are output pixels.
    """

    def __init__(self, w, h, ss=SS):
        self.w, self.h, self.ss = w, h, ss
        self.W, self.H = w * ss, h * ss
        self.img = Image.new("RGBA", (self.W, self.H), (0, 0, 0, 0))
        self.transform()

    def transform(self, scale=1.0, pivot=(0.0, 0.0), rot=0.0, to=None):
        if isinstance(scale, (int, float)):
            scale = (scale, scale)
        self.sx, self.sy = scale
        self.px, self.py = pivot
        self.tx, self.ty = pivot if to is None else to
        self.rc, self.rs = math.cos(math.radians(rot)), math.sin(math.radians(rot))

    def pt(self, x, y):
        dx, dy = (x - self.px) * self.sx, (y - self.py) * self.sy
        X = self.tx + dx * self.rc - dy * self.rs
        Y = self.ty + dx * self.rs + dy * self.rc
        return (X * self.ss, Y * self.ss)

    def length(self, v):
        return v * math.sqrt(abs(self.sx * self.sy)) * self.ss

    def mask(self, shapes, sub=()):
        m = Image.new("L", (self.W, self.H), 0)
        d = ImageDraw.Draw(m)
        for poly in shapes:
            d.polygon([self.pt(x, y) for x, y in poly], fill=255)
        for poly in sub:
            d.polygon([self.pt(x, y) for x, y in poly], fill=0)
        return m

    def paint_image(self, paint):
        size = (self.W, self.H)
        if paint[0] == "lin":
            _, p0, p1, c0, c1, cmid = paint
            X0, Y0 = self.pt(*p0)
            X1, Y1 = self.pt(*p1)
            dx, dy = X1 - X0, Y1 - Y0
            l2 = dx * dx + dy * dy or 1.0
            ramp, off = _ramp()
            a, b = 255 * dx / l2, 255 * dy / l2
            c = off - (a * (X0 - 0.5) + b * (Y0 - 0.5))
            g = ramp.transform(size, Image.AFFINE, (a, b, c, 0, 0, 0.5), Image.BILINEAR)
        elif paint[0] == "rad":
            _, cc, r, c0, c1, cmid = paint
            CX, CY = self.pt(*cc)
            R = max(self.length(r), 1e-3)
            k = 256 / R
            g = _radial().transform(size, Image.AFFINE,
                                    (k, 0, 256 - k * (CX - 0.5), 0, k, 256 - k * (CY - 0.5)),
                                    Image.BILINEAR, fillcolor=255)
        else:
            raise ValueError(paint)
        if cmid is None:
            return ImageOps.colorize(g, c0, c1)
        return ImageOps.colorize(g, c0, c1, cmid)

    def fill(self, shapes, paint, sub=(), clip=False, alpha=1.0):
        m = self.mask(shapes, sub)
        if clip:
            m = ImageChops.multiply(m, self.img.getchannel("A"))
        if alpha < 1.0:
            m = m.point(lambda v: int(v * alpha + 0.5))
        if isinstance(paint, tuple) and paint and isinstance(paint[0], str):
            layer = self.paint_image(paint)
        else:
            layer = Image.new("RGB", (self.W, self.H), tuple(paint[:3]))
        layer.putalpha(m)
        self.img.alpha_composite(layer)

    def line(self, points, w, color, clip=False, alpha=1.0):
        self.fill(stroke(points, w), color, clip=clip, alpha=alpha)

    def outline(self, color, px=1.0):
        """A dark rim of px output pixels around everything drawn so far."""
        k = max(1, int(round(px * self.ss)))
        a = self.img.getchannel("A").point(lambda v: 255 if v >= 128 else 0)
        dil = a.filter(ImageFilter.MaxFilter(2 * k + 1))
        under = Image.new("RGBA", (self.W, self.H), tuple(color[:3]) + (255,))
        under.putalpha(dil)
        under.alpha_composite(self.img)
        self.img = under

    def done(self):
        return finish(self.img.resize((self.w, self.h), Image.LANCZOS))


def finish(img, cut=ALPHA_CUT):
    """Clear faint fringe pixels and the colour of fully transparent ones."""
    a = img.getchannel("A").point(lambda v: 0 if v < cut else v)
    rgb = img.convert("RGB")
    blank = Image.new("RGB", img.size, (0, 0, 0))
    rgb = Image.composite(rgb, blank, a.point(lambda v: 255 if v else 0))
    rgb.putalpha(a)
    return rgb


def coverage(img):
    a = img.getchannel("A")
    return 1.0 - a.histogram()[0] / (img.width * img.height)


def fit(draw, target, lo, hi, iters=14):
    """Bisect the size parameter of draw() so that the coverage meets target.
    Returns the picture and the parameter."""
    for _ in range(iters):
        mid = (lo + hi) / 2
        if coverage(draw(mid)) < target:
            lo = mid
        else:
            hi = mid
    s = (lo + hi) / 2
    return draw(s), s


# ---------------------------------------------------------------------------
# The avatar
# ---------------------------------------------------------------------------

GREY_OUT = (46, 50, 60)


def draw_figure(c, dead=False):
    """The light grey figure, front view, in a 100 x 100 design box."""
    light, mid, dark = (236, 238, 242), (196, 201, 209), (138, 145, 157)
    # legs and boots
    for sx in (-1, 1):
        x = 50 + sx * 6
        c.fill(rrect(x - 4.6, 58, x + 4.6, 84, 3), hlin(x - 4.6, x + 4.6, (172, 178, 188), (112, 118, 130)))
        c.fill(rrect(x - 5.6 + sx * 0.8, 79, x + 5.6 + sx * 0.8, 88.5, 3.5),
               vlin(79, 88.5, (104, 110, 122), (58, 62, 72)))
    # arms
    for sx in (-1, 1):
        sh, hand = (50 + sx * 14.5, 41), (50 + sx * 19.5, 62)
        c.fill(capsule(sh, hand, 8.6), hlin(50 + sx * 10, 50 + sx * 24, mid, dark) if sx > 0
               else hlin(26, 40, light, mid))
        c.fill(circle(hand[0], hand[1] + 1.5, 4.6), rad((hand[0] - 1.5, hand[1]), 6, (128, 134, 146), (76, 80, 92)))
    # torso
    c.fill(rrect(36, 34, 64, 66, 8), hlin(36, 64, light, dark, mid))
    c.fill(rrect(42.5, 39, 57.5, 55, 4), hlin(42, 58, (214, 218, 224), (160, 166, 177)), clip=True)
    c.line([(50, 40.5), (50, 54)], 0.9, (150, 156, 168), clip=True)
    c.fill(rrect(36, 58.5, 64, 63, 1.2), vlin(58.5, 63, (100, 106, 118), (70, 74, 86)), clip=True)
    c.fill(rrect(47.5, 58, 52.5, 63.5, 1), (214, 184, 96), clip=True)
    # shoulder pads
    for sx in (-1, 1):
        c.fill(ellipse(50 + sx * 13.5, 39, 6.6, 5.4), rad((50 + sx * 13.5 - 2, 36.5), 8, light, dark, mid))
    # head: a helmet with a visor
    c.fill(circle(50, 23.5, 12.6), rad((45.5, 18), 17, (248, 249, 252), (150, 156, 168), (212, 216, 223)))
    c.fill(rrect(40, 20.5, 60, 29, 4.2), vlin(20.5, 29, (74, 96, 128), (24, 30, 46)), clip=True)
    if dead:
        for ex in (45, 55):
            c.line([(ex - 2.2, 22.6), (ex + 2.2, 26.9)], 1.1, (230, 90, 90), clip=True)
            c.line([(ex + 2.2, 22.6), (ex - 2.2, 26.9)], 1.1, (230, 90, 90), clip=True)
    else:
        c.line([(43, 22.8), (48.5, 22.8)], 1.2, (150, 225, 255), clip=True)
        c.line([(51.5, 22.8), (53, 22.8)], 1.2, (150, 225, 255), clip=True)
    c.line([(41.5, 15), (46, 12.2)], 1.4, (255, 255, 255), clip=True, alpha=0.7)
    c.outline(GREY_OUT, 1.0)


def player(s, dead=False):
    c = Canvas(100, 100)
    c.transform(s, (50, 51))
    draw_figure(c, dead)
    return c.done()


def dead_player(s):
    img = player(s, dead=True)
    a = img.getchannel("A")
    grey = ImageOps.grayscale(img.convert("RGB"))
    tinted = ImageOps.colorize(grey, (40, 44, 60), (214, 220, 236))
    a = a.point(lambda v: 0 if v == 0 else max(1, min(254, int(v * 0.55 + 0.5))))
    tinted.putalpha(a)
    return tinted


# ---------------------------------------------------------------------------
# Weapons and projectiles
# ---------------------------------------------------------------------------

STEEL_HI, STEEL_LO = (128, 134, 146), (44, 47, 55)
METAL_OUT = (20, 22, 27)


def gun(s):
    c = Canvas(64, 64)
    c.transform(s, (32, 35))
    # grip, slanted back
    grip = [(15, 32), (28.5, 32), (27, 37), (24.5, 51.5), (22.5, 53.5), (12.5, 53.5), (11, 51.5), (13.5, 38)]
    c.fill([grip], hlin(11, 28, (88, 64, 46), (44, 31, 24)))
    for i in range(7):
        y = 38 + i * 2.2
        c.line([(11, y), (29, y - 3)], 0.5, (36, 25, 20), clip=True, alpha=0.8)
    c.fill(rrect(17, 40, 23.5, 47, 1.2), (150, 118, 84), clip=True, alpha=0.5)
    # frame and trigger guard
    c.fill([[(15, 30), (50, 30), (50, 34.5), (38, 35.5), (22, 35.5)]], vlin(30, 35.5, (86, 90, 100), (50, 53, 60)))
    c.line([(27.5, 35), (28.2, 40.2), (33, 42.3), (38.2, 40.6), (39, 35)], 1.9, (58, 61, 70))
    c.line([(31.8, 35), (32.2, 39.2)], 1.5, (30, 32, 37))
    # slide, muzzle, sights
    c.fill(rrect(13, 21, 53, 31, 2), vlin(21, 31, STEEL_HI, STEEL_LO, (84, 89, 100)))
    c.fill(rrect(52, 23.6, 56.5, 29, 1), vlin(23.6, 29, (70, 74, 82), (28, 30, 35)))
    c.fill(rrect(55.4, 25.2, 56.5, 27.4, 0.3), (10, 10, 12))
    c.fill(rrect(14, 19.2, 17.5, 21.5, 0.6), (40, 42, 48))
    c.fill(rrect(49, 19.2, 51, 21.5, 0.6), (40, 42, 48))
    for x in (15.5, 17.5, 19.5, 21.5):
        c.line([(x, 23), (x, 29.3)], 0.6, (36, 38, 44), clip=True)
    c.fill(rrect(30, 22.6, 41, 25.6, 1), (32, 34, 40), clip=True)
    c.line([(15, 21.9), (52, 21.9)], 0.7, (196, 202, 212), clip=True, alpha=0.8)
    c.outline(METAL_OUT, 1.0)
    return c.done()


WOOD_HI, WOOD_LO = (176, 112, 60), (104, 60, 30)


def shotgun(s):
    c = Canvas(128, 32)
    c.transform(s, (64, 18))
    # stock
    stock = [(4, 12.5), (11, 12.5), (38, 15.2), (41, 15.8), (41, 21.8), (36, 22.3), (11, 28.5), (4, 28.5)]
    c.fill([stock], vlin(12.5, 28.5, WOOD_HI, WOOD_LO))
    for y0, y1 in [(15.5, 17.8), (19.5, 21.0), (23.5, 23.0), (26.2, 24.4)]:
        c.line(bezier((6, y0 + 0.5), (22, y0 + 1.8), (40, y1)), 0.55, (96, 54, 26), clip=True, alpha=0.75)
    c.fill(rrect(2, 12.2, 6.2, 28.8, 1.2), vlin(12, 29, (66, 52, 46), (30, 24, 22)))
    # receiver and trigger guard
    c.line([(46, 21), (46.5, 25), (51, 26.2), (54.5, 24.5), (55, 21)], 1.6, (54, 57, 64))
    c.line([(49.8, 21), (50.3, 24)], 1.3, (28, 30, 34))
    c.fill(rrect(39, 12, 63, 21.8, 2), vlin(12, 21.8, STEEL_HI, STEEL_LO, (84, 89, 100)))
    c.fill(rrect(46, 14.2, 57, 16.6, 0.8), (30, 32, 38), clip=True)
    # barrel, magazine tube, band, bead
    c.fill(rrect(61, 11.4, 125, 15.6, 1.2), vlin(11.4, 15.6, (150, 156, 168), (56, 60, 68), (104, 110, 122)))
    c.fill(rrect(61, 15.4, 113, 19.2, 1.4), vlin(15.4, 19.2, (104, 110, 122), (40, 43, 50)))
    c.fill(rrect(111.5, 10.9, 115, 19.8, 0.9), vlin(11, 19.8, (120, 126, 138), (46, 49, 56)))
    c.fill(circle(122.5, 10.9, 1.3), (230, 226, 200))
    c.fill(rrect(123.6, 12, 125, 15, 0.4), (16, 16, 18))
    # pump
    c.fill(rrect(72, 14.2, 99, 21.8, 2.6), vlin(14.2, 21.8, WOOD_HI, WOOD_LO))
    for x in range(75, 97, 3):
        c.line([(x, 15.2), (x, 20.8)], 0.8, (92, 52, 24), clip=True, alpha=0.85)
    c.line([(73, 15.0), (98, 15.0)], 0.6, (214, 160, 104), clip=True, alpha=0.7)
    c.outline(METAL_OUT, 1.0)
    return c.done()


OLIVE_HI, OLIVE_LO = (124, 134, 86), (62, 70, 40)


def snipe(s):
    c = Canvas(128, 32)
    c.transform((min(1.0, s + 0.14), s), (64, 18))
    # stock with cheek riser and pistol grip
    stock = [(3, 13), (9, 13), (12, 15.3), (42, 15.6), (42, 22.6), (41, 22.6), (38.5, 28.4), (34, 28.8),
             (33, 27.4), (35.2, 22.6), (16, 22.6), (7, 27.2), (3, 27.2)]
    c.fill([stock], vlin(13, 28.8, OLIVE_HI, OLIVE_LO))
    c.fill(ellipse(24, 19.2, 5.6, 1.5), (44, 50, 28), clip=True)
    c.fill(rrect(1.6, 12.6, 4.6, 27.6, 1), vlin(12, 28, (60, 60, 60), (24, 24, 26)))
    # trigger guard, magazine
    c.line([(42, 22), (42.6, 25.6), (47, 26.4), (49.6, 22)], 1.4, (50, 53, 58))
    c.line([(44.6, 22), (45, 24.6)], 1.2, (24, 26, 30))
    c.fill(rrect(53, 21, 61, 27.4, 1), vlin(21, 27.4, (70, 74, 80), (30, 32, 36)))
    # receiver, bolt
    c.fill(rrect(40, 15, 72, 22.4, 1.6), vlin(15, 22.4, (92, 97, 106), (30, 32, 37)))
    c.line([(48, 19), (49.6, 23.6)], 1.2, (80, 84, 92))
    c.fill(circle(49.9, 24.4, 1.6), (104, 108, 116))
    # hand guard with vents, barrel, muzzle brake
    c.fill(rrect(94, 16.6, 119, 19.9, 0.8), vlin(16.6, 19.9, (110, 116, 126), (34, 36, 42)))
    c.fill(rrect(116.5, 15.2, 126.2, 21.3, 1), vlin(15.2, 21.3, (96, 101, 110), (30, 32, 37)))
    for x in (118.6, 121.2, 123.8):
        c.fill(rrect(x, 16.6, x + 1.1, 19.9, 0.3), (12, 12, 14), clip=True)
    c.fill(rrect(70, 15.4, 96, 22, 2), vlin(15.4, 22, OLIVE_HI, OLIVE_LO))
    for x in (75, 80, 85, 90):
        c.fill(rrect(x, 17.4, x + 3, 19.6, 1), (40, 46, 26), clip=True)
    # scope
    c.fill(rrect(51, 11.8, 54.5, 15.6, 0.5), (36, 38, 42))
    c.fill(rrect(65, 11.8, 68.5, 15.6, 0.5), (36, 38, 42))
    c.fill(rrect(57.8, 5.4, 61.8, 9, 0.6), (44, 46, 52))
    c.fill(rrect(44, 8.4, 80, 12.6, 2), vlin(8.4, 12.6, (96, 100, 110), (22, 24, 28), (52, 55, 62)))
    c.fill(rrect(39.5, 7, 48, 14, 2), vlin(7, 14, (96, 100, 110), (22, 24, 28), (52, 55, 62)))
    c.fill([[(76, 8.4), (80.5, 6), (88.6, 6), (88.6, 15), (80.5, 15), (76, 12.6)]],
           vlin(6, 15, (96, 100, 110), (22, 24, 28), (52, 55, 62)))
    c.fill(rrect(87.4, 6.8, 88.8, 14.2, 0.5), vlin(6.8, 14.2, (150, 220, 255), (40, 90, 170)))
    c.outline(METAL_OUT, 1.0)
    return c.done()


def bullet(s):
    c = Canvas(16, 16)
    c.transform(s, (8, 8))
    c.fill(circle(8, 8, 6.0), rad((6.4, 6.2), 8.2, (255, 250, 214), (196, 112, 24), (246, 198, 72)))
    c.fill(ellipse(6.3, 5.9, 1.9, 1.4, -30), (255, 255, 246), alpha=0.85)
    c.outline((104, 56, 10), 0.75)
    return c.done()


def fireball(s):
    c = Canvas(50, 33)
    c.transform(s, (35, 16.5))
    body = [(35, 4.2), (27, 5.2), (21, 7.8), (13.5, 5.6), (16.5, 10.2), (9, 11.6), (2.5, 15.4),
            (10, 17.6), (5, 22.6), (14.5, 21.6), (12.5, 27), (21, 25.2), (28, 27.9), (35, 28.8)]
    shapes = circle(35, 16.5, 12.3) + [body]
    c.fill(shapes, rad((37.5, 16.5), 33, (255, 250, 214), (206, 40, 14), (255, 176, 36)))
    c.fill(ellipse(37.5, 16.5, 7.6, 6.6), rad((38.5, 16), 8, (255, 255, 240), (255, 214, 90)), alpha=0.85)
    c.fill([[(30, 9), (20, 11.5), (12, 15.6), (20, 19.8), (30, 23)]], (255, 208, 70), clip=True, alpha=0.35)
    return c.done()


def magicwand(s):
    c = Canvas(64, 64)
    c.transform(s, (32, 32))
    c.fill(capsule((10, 56), (45.5, 20.5), 4.6), lin((8, 52), (14, 58), (176, 114, 62), (96, 56, 26)))
    c.fill(capsule((9.5, 56.5), (22, 44), 6.4), lin((8, 52), (14, 58), (112, 70, 38), (56, 33, 16)))
    for t in (0.25, 0.5, 0.75):
        x, y = 9.5 + (22 - 9.5) * t, 56.5 + (44 - 56.5) * t
        c.line([(x - 2.4, y - 2.4), (x + 2.4, y + 2.4)], 0.7, (40, 24, 12), clip=True)
    c.fill(capsule((41.6, 24.4), (45.2, 20.8), 6), lin((40, 20), (46, 26), (250, 214, 110), (160, 112, 28)))
    c.outline((44, 26, 12), 1.0)
    c.fill(star(49.5, 15.5, 6.2, 2.2, 4, 45), (255, 236, 150), alpha=0.7)
    c.fill(star(49.5, 15.5, 11, 2.6), rad((49.5, 15.5), 11, (255, 255, 255), (255, 200, 60), (255, 240, 170)))
    c.fill(star(58.5, 6.5, 3.8, 1.1), (255, 246, 200))
    c.fill(star(40, 7.5, 2.8, 0.9), (255, 246, 200))
    c.fill(star(58.5, 25.5, 2.6, 0.8), (255, 246, 200))
    return c.done()


def crystal_ball(s):
    c = Canvas(50, 50)
    c.transform(s, (25, 26))
    c.fill([[(17, 41), (33, 41), (30.5, 34.5), (19.5, 34.5)]], hlin(17, 33, (196, 150, 78), (106, 68, 30)))
    c.fill(rrect(13, 40, 37, 45, 2), vlin(40, 45, (150, 104, 50), (82, 52, 22)))
    c.fill(circle(25, 21, 14.6), rad((20.5, 15.5), 24, (252, 252, 255), (176, 186, 232), (222, 226, 250)))
    c.fill(ellipse(26, 24, 8, 4.4, -25), (196, 170, 244), clip=True, alpha=0.35)
    c.fill(ellipse(23, 22, 5, 2.4, 30), (170, 220, 246), clip=True, alpha=0.35)
    c.fill(ellipse(19.5, 14.5, 4.2, 2.8, -35), (255, 255, 255), alpha=0.95)
    c.fill(circle(31, 28, 1.2), (255, 255, 255), alpha=0.7)
    c.outline((96, 96, 136), 0.75)
    return c.done()


def five_star(cx, cy, R):
    return star(cx, cy, R, R * 0.42, 5)


def magichat(s):
    c = Canvas(64, 64)
    c.transform(s, (32, 36))
    c.fill(ellipse(32, 49, 23, 5.4), vlin(44, 54, (58, 70, 168), (18, 22, 72)))
    cone = [(21.5, 49), (42.5, 49), (39, 37), (36.4, 26), (38.5, 19.5), (45.5, 12.5), (33.5, 15.5), (28.5, 25.5), (25, 37)]
    c.fill([cone], hlin(22, 44, (70, 84, 186), (18, 22, 78), (40, 50, 140)))
    c.fill(rrect(15, 41.8, 49, 46.4, 0), vlin(41.8, 46.4, (250, 214, 96), (186, 136, 36)), clip=True)
    c.line([(10, 50.8), (20, 53.4), (32, 54.3), (44, 53.4), (54, 50.8)], 0.8, (96, 110, 210), alpha=0.8)
    c.outline((10, 12, 40), 1.0)
    for cx, cy, R in ((31, 33.5, 2.5), (35.5, 25, 1.8), (28.2, 39, 1.5), (37.5, 37.8, 1.3)):
        c.fill(five_star(cx, cy, R), (255, 232, 120))
    c.fill(five_star(45.6, 12.4, 2.6), (255, 232, 120))
    return c.done()


def magicbullet(color):
    def draw(s):
        c = Canvas(32, 32)
        c.transform(s, (18, 16))
        c.fill([[(18.5, 12.2), (3, 16), (18.5, 19.8)]], hlin(3, 18, mix(color, (0, 0, 0), 0.2), color), alpha=0.55)
        c.fill(circle(18.5, 16, 6), color, alpha=0.4)
        c.fill(circle(18.5, 16, 4.2), rad((17.6, 15), 5, (255, 255, 255), color, mix(color, (255, 255, 255), 0.55)))
        return c.done()
    return draw


def sparkle(s):
    c = Canvas(64, 64)
    c.transform(s, (32, 32))
    c.fill(star(32, 32, 15, 3.6, 4, 45), rad((32, 32), 15, (235, 244, 255), (110, 160, 255)), alpha=0.85)
    c.fill(star(32, 32, 29, 5.4), rad((32, 32), 29, (255, 255, 255), (36, 92, 236), (130, 180, 255)))
    c.fill(circle(32, 32, 3.2), (255, 255, 255), alpha=0.9)
    return c.done()


def teardrop(cx, cy, r, tip_y, n=48):
    d = cy - tip_y
    a = math.asin(min(1.0, r / d))          # half angle at the tip
    pts = [(cx, tip_y)]
    start = math.pi / 2 - a                  # tangent point, measured from +x, downward positive
    for i in range(n + 1):
        ang = -start + (math.pi + 2 * start) * i / n
        pts.append((cx + r * math.cos(ang), cy + r * math.sin(ang)))
    # reorder so the polygon runs round the rim
    return [[pts[0]] + list(reversed(pts[1:]))]


def water(color):
    def draw(s):
        c = Canvas(20, 20)
        c.transform(s, (10, 11))
        c.fill(teardrop(10, 12.4, 3.9, 4.2), rad((8.8, 11.2), 6.4, mix(color, (255, 255, 255), 0.55), mix(color, (0, 0, 0), 0.25), color))
        c.fill(ellipse(8.7, 12, 0.9, 1.5, 20), (255, 255, 255), alpha=0.85)
        return c.done()
    return draw


# ---------------------------------------------------------------------------
# Scenery
# ---------------------------------------------------------------------------

def tree(s):
    c = Canvas(60, 120)
    c.transform((s, 1.0), (30, 117), to=(30, 115.8))
    rng = random.Random(1101)
    c.fill(rrect(26.6, 90, 33.4, 117, 1.5), hlin(26.6, 33.4, (140, 96, 56), (72, 46, 24)))
    c.fill(ellipse(30, 116.4, 8, 1.6), (60, 40, 22))
    tiers = [(52, 101, 27), (34, 82, 22), (18, 62, 16.5), (4, 41, 11)]
    polys = []
    for apex, base, hw in tiers:
        pts = [(30, apex)]
        n = 5
        pts.append((30 + hw * 0.55, apex + (base - apex) * 0.55))
        pts.append((30 + hw * 0.5, apex + (base - apex) * 0.6))
        for i in range(n * 2 + 1):
            x = 30 + hw - 2 * hw * i / (n * 2)
            y = base - (0 if i % 2 == 0 else 4.2)
            pts.append((x, y))
        pts.append((30 - hw * 0.5, apex + (base - apex) * 0.6))
        pts.append((30 - hw * 0.55, apex + (base - apex) * 0.55))
        polys.append(pts)
    for k, ((apex, base, hw), pts) in enumerate(zip(tiers, polys)):
        if k > 0:
            shadow = [[(x, y + 3.5) for x, y in pts]]
            c.fill(shadow, (16, 52, 26), clip=True, alpha=0.55)
        c.fill([pts], hlin(30 - hw, 30 + hw, (120, 190, 86), (28, 92, 44), (66, 146, 62)))
        for _ in range(int(hw * 1.6)):
            y = rng.uniform(apex + (base - apex) * 0.35, base - 3)
            half = hw * (y - apex) / (base - apex)
            x = 30 + rng.uniform(-half, half) * 0.9
            col = (150, 210, 110) if x < 30 else (34, 96, 48)
            c.line([(x, y), (x + rng.uniform(-1.5, 1.5), y + rng.uniform(1.5, 3))], 0.55, col, clip=True, alpha=0.7)
    c.outline((18, 48, 24), 1.0)
    return c.done()


def bush(s):
    c = Canvas(60, 60)
    c.transform(s, (30, 33))
    rng = random.Random(2202)
    blobs = [(30, 18, 9.5), (20, 24, 10), (40, 23.5, 10.5), (13, 34, 9), (47, 33, 9.5), (30, 28, 12),
             (21, 40, 11), (39, 40, 11.5), (30, 44, 10.5), (10, 44, 6.6), (50, 44, 6.8)]
    c.fill([p for b in blobs for p in circle(*b)], (18, 54, 26))
    for cx, cy, r in sorted(blobs, key=lambda b: b[1]):
        c.fill(circle(cx, cy, r - 0.6), rad((cx - r * 0.35, cy - r * 0.45), r * 1.35,
                                             (92, 150, 72), (20, 58, 28), (48, 104, 48)))
        for _ in range(6):
            a = rng.uniform(math.pi * 0.9, math.pi * 1.6)
            d = rng.uniform(0.3, 0.8) * r
            x, y = cx + d * math.cos(a), cy + d * math.sin(a)
            c.fill(ellipse(x, y, 1.8, 1.0, rng.uniform(0, 180)), (130, 186, 96), clip=True, alpha=0.6)
    c.outline((12, 36, 18), 1.0)
    return c.done()


def flower(petal_hi, petal_lo, centre):
    def draw(s):
        c = Canvas(60, 60)
        c.transform(s, (30, 34))
        c.line(bezier((30, 44.5), (31.8, 38), (30, 31)), 1.4, (62, 140, 52))
        c.fill(ellipse(27, 40.5, 3.6, 1.5, -32), hlin(24, 30, (110, 186, 84), (48, 120, 46)))
        c.fill(ellipse(33.4, 38.2, 3.6, 1.5, 30), hlin(30, 37, (110, 186, 84), (48, 120, 46)))
        hx, hy = 30, 28.5
        petals = []
        for k in range(5):
            a = math.radians(-90 + 72 * k)
            petals += ellipse(hx + 3.3 * math.cos(a), hy + 3.3 * math.sin(a), 3.3, 2.3, math.degrees(a))
        c.fill(petals, rad((hx, hy), 6.6, mix(petal_hi, (255, 255, 255), 0.25), petal_lo, petal_hi))
        c.fill(circle(hx, hy, 1.9), rad((hx - 0.5, hy - 0.5), 2.4, mix(centre, (255, 255, 255), 0.4), centre))
        c.outline(mix(petal_lo, (0, 0, 0), 0.55), 0.5)
        return c.done()
    return draw


def cactus(s):
    c = Canvas(60, 60)
    c.transform(s, (30, 52))
    rng = random.Random(3303)
    c.fill(ellipse(30, 52.4, 11, 2.6), (150, 120, 76))
    g_hi, g_mid, g_lo = (132, 200, 98), (80, 160, 72), (36, 104, 50)
    c.fill(stroke([(28, 37.5), (19.5, 37.5), (19.5, 25)], 7.2), hlin(16, 23, g_hi, g_lo, g_mid))
    c.fill(stroke([(32, 31.5), (40.8, 31.5), (40.8, 20)], 6.8), hlin(37.4, 44.2, g_hi, g_lo, g_mid))
    c.fill(capsule((30, 52), (30, 15.5), 12.4), hlin(23.8, 36.2, g_hi, g_lo, g_mid))
    for x in (26.8, 30, 33.2):
        c.line([(x, 14.5), (x, 52)], 0.55, (40, 110, 52), clip=True, alpha=0.8)
    c.line([(19.5, 23), (19.5, 36)], 0.5, (40, 110, 52), clip=True, alpha=0.8)
    c.line([(40.8, 18), (40.8, 30)], 0.5, (40, 110, 52), clip=True, alpha=0.8)
    c.outline((26, 70, 34), 1.0)
    for _ in range(26):
        x, y = rng.choice([(rng.uniform(24.5, 35.5), rng.uniform(17, 50)),
                           (rng.uniform(17, 22), rng.uniform(24, 39)),
                           (rng.uniform(38.5, 43), rng.uniform(19, 33))])
        c.line([(x - 0.6, y - 0.6), (x + 0.6, y + 0.6)], 0.35, (244, 240, 206), clip=True)
        c.line([(x + 0.6, y - 0.6), (x - 0.6, y + 0.6)], 0.35, (244, 240, 206), clip=True)
    fl = []
    for k in range(5):
        a = math.radians(-90 + 72 * k)
        fl += ellipse(30 + 1.7 * math.cos(a), 10.8 + 1.7 * math.sin(a), 1.9, 1.3, math.degrees(a))
    c.fill(fl, (246, 110, 160))
    c.fill(circle(30, 10.8, 0.9), (255, 224, 90))
    return c.done()


# ---------------------------------------------------------------------------
# Tiling ground textures
# ---------------------------------------------------------------------------

BG_W, BG_H = 1024, 576


def tile_noise(gw, gh, rng, w=BG_W, h=BG_H):
    """Smooth noise with period (w, h): a random gw x gh lattice, wrapped."""
    data = bytes(rng.randrange(256) for _ in range(gw * gh))
    small = Image.frombytes("L", (gw, gh), data)
    big = Image.new("L", (gw * 3, gh * 3))
    for i in range(3):
        for j in range(3):
            big.paste(small, (i * gw, j * gh))
    big = big.resize((w * 3, h * 3), Image.BICUBIC)
    return big.crop((w, h, 2 * w, 2 * h))


def blend_noise(layers):
    """Weighted sum of L images, each (image, weight)."""
    acc = None
    total = sum(wt for _, wt in layers)
    for img, wt in layers:
        part = img.point(lambda v, k=wt / total: int(v * k + 0.5))
        acc = part if acc is None else ImageChops.add(acc, part)
    return acc


def stretch(img, lo_pct=0.02, hi_pct=0.98):
    hist = img.histogram()
    n = sum(hist)
    acc, lo, hi = 0, 0, 255
    for v, k in enumerate(hist):
        acc += k
        if acc >= n * lo_pct and lo == 0:
            lo = v
        if acc >= n * hi_pct:
            hi = v
            break
    span = max(1, hi - lo)
    return img.point(lambda v: max(0, min(255, int((v - lo) * 255 / span))))


class WrapLayer:
    """A periodic RGBA overlay drawn at 2x, with copies across the edges."""

    M = 24

    def __init__(self, w=BG_W, h=BG_H, ss=2):
        self.w, self.h, self.ss = w, h, ss
        self.img = Image.new("RGBA", ((w + 2 * self.M) * ss, (h + 2 * self.M) * ss), (0, 0, 0, 0))
        self.d = ImageDraw.Draw(self.img)

    def _copies(self, pts):
        xs = [p[0] for p in pts]
        ys = [p[1] for p in pts]
        for ox in (-self.w, 0, self.w):
            for oy in (-self.h, 0, self.h):
                if max(xs) + ox < -self.M or min(xs) + ox > self.w + self.M:
                    continue
                if max(ys) + oy < -self.M or min(ys) + oy > self.h + self.M:
                    continue
                yield [((x + ox + self.M) * self.ss, (y + oy + self.M) * self.ss) for x, y in pts]

    def polygon(self, pts, color):
        for q in self._copies(pts):
            self.d.polygon(q, fill=color)

    def ellipse(self, cx, cy, rx, ry, color):
        for q in self._copies([(cx - rx, cy - ry), (cx + rx, cy + ry)]):
            self.d.ellipse([q[0], q[1]], fill=color)

    def result(self):
        small = self.img.resize((self.w + 2 * self.M, self.h + 2 * self.M), Image.LANCZOS)
        return small.crop((self.M, self.M, self.M + self.w, self.M + self.h))


def blade(x, y, ang, length, width):
    dx, dy = math.cos(ang), math.sin(ang)
    nx, ny = -dy * width / 2, dx * width / 2
    tip = (x + dx * length, y + dy * length)
    return [(x + nx, y + ny), tip, (x - nx, y - ny)]


def background_grass():
    rng = random.Random(4404)
    n = blend_noise([(tile_noise(16, 9, rng), 5), (tile_noise(32, 18, rng), 3),
                     (tile_noise(64, 36, rng), 2), (tile_noise(128, 72, rng), 1)])
    n = stretch(n)
    base = ImageOps.colorize(n, (64, 112, 44), (106, 156, 62), (84, 134, 52)).convert("RGBA")
    blades = WrapLayer()
    for _ in range(5200):
        cx, cy = rng.uniform(0, BG_W), rng.uniform(0, BG_H)
        v = n.getpixel((int(cx) % BG_W, int(cy) % BG_H)) / 255
        for _ in range(rng.randint(3, 6)):
            ang = math.radians(-90 + rng.uniform(-50, 50))
            x, y = cx + rng.uniform(-2.5, 2.5), cy + rng.uniform(-1.5, 1.5)
            shade = rng.uniform(-1, 1)
            if shade > 0.2:
                col = mix((96, 150, 58), (150, 196, 90), shade * 0.8 + v * 0.2)
            else:
                col = mix((70, 118, 46), (34, 74, 28), -shade * 0.7 + (1 - v) * 0.3)
            blades.polygon(blade(x, y, ang, rng.uniform(3.5, 8), rng.uniform(1.0, 1.8)), col + (rng.randint(150, 230),))
    for _ in range(70):                       # clover patches
        cx, cy = rng.uniform(0, BG_W), rng.uniform(0, BG_H)
        for _ in range(rng.randint(4, 9)):
            x, y = cx + rng.gauss(0, 5), cy + rng.gauss(0, 4)
            for k in range(3):
                a = math.radians(90 + 120 * k + rng.uniform(-10, 10))
                blades.ellipse(x + 1.5 * math.cos(a), y + 1.5 * math.sin(a), 1.6, 1.6, (60, 124, 48, 220))
    for _ in range(40):                       # tiny white and yellow blossoms
        x, y = rng.uniform(0, BG_W), rng.uniform(0, BG_H)
        col = rng.choice([(244, 244, 230, 255), (250, 226, 90, 255)])
        for k in range(5):
            a = math.radians(72 * k)
            blades.ellipse(x + 1.2 * math.cos(a), y + 1.2 * math.sin(a), 1.0, 1.0, col)
        blades.ellipse(x, y, 0.7, 0.7, (220, 170, 40, 255))
    base.alpha_composite(blades.result())
    base.putalpha(255)
    return base


def background_sand():
    rng = random.Random(5505)
    n = blend_noise([(tile_noise(16, 9, rng), 5), (tile_noise(32, 18, rng), 3),
                     (tile_noise(64, 36, rng), 2)])
    n = stretch(n)
    warp = tile_noise(16, 9, rng)
    warp2 = tile_noise(64, 36, rng)
    # ripples: crests with whole numbers of periods across the tile, warped
    sw, sh = BG_W // 2, BG_H // 2
    wp, wp2 = warp.load(), warp2.load()
    buf = bytearray(sw * sh)
    for y in range(sh):
        for x in range(sw):
            w = wp[x * 2, y * 2] / 255 * 7.5 + wp2[x * 2, y * 2] / 255 * 1.4
            ph = 2 * math.pi * (19 * x / sw + 8 * y / sh) + w
            f = (ph / (2 * math.pi)) % 1.0
            # a slow rise and a steep fall: the lee side of a ripple
            v = f / 0.75 if f < 0.75 else (1.0 - f) / 0.25
            buf[y * sw + x] = int(255 * v)
    rip = Image.frombytes("L", (sw, sh), bytes(buf))
    big = Image.new("L", (sw * 3, sh * 3))
    for i in range(3):
        for j in range(3):
            big.paste(rip, (i * sw, j * sh))
    rip = big.resize((BG_W * 3, BG_H * 3), Image.BICUBIC).crop((BG_W, BG_H, 2 * BG_W, 2 * BG_H))
    rip = rip.filter(ImageFilter.GaussianBlur(1.2))
    base = ImageOps.colorize(n, (208, 176, 118), (236, 212, 158), (224, 196, 138))
    dark = ImageOps.colorize(n, (178, 144, 92), (206, 178, 124), (192, 160, 108))
    light = ImageOps.colorize(n, (228, 200, 144), (250, 232, 186), (242, 218, 164))
    # strength of the ripples follows another noise, so that they come and go
    fade = stretch(tile_noise(32, 18, rng)).point(lambda v: int(60 + v * 0.75))
    ripm = ImageChops.multiply(rip.point(lambda v: max(0, min(255, int((v - 120) * 2.0)))), fade)
    ripd = ImageChops.multiply(rip.point(lambda v: max(0, min(255, int((70 - v) * 3.6)))), fade)
    base = Image.composite(light, base, ripm)
    base = Image.composite(dark, base, ripd).convert("RGBA")
    dots = WrapLayer()
    for _ in range(9000):                     # grains
        x, y = rng.uniform(0, BG_W), rng.uniform(0, BG_H)
        r = rng.uniform(0.35, 0.8)
        col = rng.choice([(150, 114, 70), (176, 140, 90), (252, 240, 206), (130, 100, 66)])
        dots.ellipse(x, y, r, r, col + (rng.randint(90, 200),))
    for _ in range(160):                      # pebbles
        x, y = rng.uniform(0, BG_W), rng.uniform(0, BG_H)
        r = rng.uniform(1.2, 3.0)
        col = rng.choice([(150, 128, 104), (128, 112, 98), (176, 150, 116), (112, 92, 72)])
        dots.ellipse(x + 0.6, y + 0.8, r, r * 0.8, (120, 90, 54, 120))
        dots.ellipse(x, y, r, r * 0.8, col + (255,))
        dots.ellipse(x - r * 0.3, y - r * 0.3, r * 0.35, r * 0.25, (236, 226, 208, 200))
    base.alpha_composite(dots.result())
    base.putalpha(255)
    return base


# ---------------------------------------------------------------------------
# Death animation
# ---------------------------------------------------------------------------

BAYER4 = [[0, 8, 2, 10], [12, 4, 14, 6], [3, 11, 1, 9], [15, 7, 13, 5]]
GIF_DELAYS_MS = [140] * 23 + [130] * 2        # 25 frames, 3480 ms in all
GIF_KEY = (255, 0, 254)                       # palette colour of the transparent index


def smoothstep(t):
    t = max(0.0, min(1.0, t))
    return t * t * (3 - 2 * t)


def death_frames(fig_scale):
    """25 RGBA frames of 100 x 100.  The GIF is shown at 200 x 200 centred on the
    avatar, so the figure is drawn at half scale to match the avatar's size.

    The figure flashes white and red, topples to the side, and dissolves into a
    cloud of smoke that rises and thins out; the cloud is gone by the last frames,
    which the game cuts off anyway (2 s at a speed of 150 shows about 21 frames).
    """
    rng = random.Random(6606)
    k = 0.5
    feet = (50, 50 + (88 - 51) * fig_scale * k)
    ground = feet[1] + 1
    # blood drops: out of the chest, on arcs
    drops = []
    for _ in range(16):
        a = math.radians(rng.uniform(-170, -10))
        v = rng.uniform(1.8, 3.8)
        drops.append((50 + rng.uniform(-2, 2), 47.5 + rng.uniform(-1.5, 1.5), v * math.cos(a), v * math.sin(a) - 0.6,
                      rng.uniform(1.0, 1.7)))
    # smoke: (birth frame, x, y, drift, rise, start radius, end radius, shade)
    puffs = []
    for i in range(22):
        birth = 6.5 + i * 0.26 + rng.uniform(0, 1.0)
        side = rng.uniform(-1, 1)
        puffs.append((birth, 50 + 6 + side * 15, ground - 3 - rng.uniform(0, 7),
                      side * rng.uniform(0.3, 0.8), rng.uniform(1.1, 2.1),
                      rng.uniform(3, 5), rng.uniform(8, 13), rng.uniform(-1, 1), rng.uniform(11, 13.5)))
    puffs.sort(key=lambda p: p[0])
    # dust thrown sideways where the body lands
    dust = [(rng.choice((-1, 1)) * rng.uniform(0.8, 2.2), rng.uniform(-0.6, -0.1), rng.uniform(2, 3.5))
            for _ in range(10)]
    embers = [(rng.uniform(7, 12), 50 + rng.uniform(-12, 18), ground - rng.uniform(2, 8),
               rng.uniform(-0.6, 0.6), rng.uniform(1.6, 2.8)) for _ in range(14)]
    frames = []
    for f in range(25):
        c = Canvas(100, 100)
        # hit spark behind the figure
        if f <= 2:
            r = (15, 19, 12)[f]
            c.fill(star(50, 42, r, r * 0.2, 4, 12 * f), (255, 236, 150), alpha=(1.0, 0.9, 0.6)[f])
            c.fill(star(50, 42, r * 0.65, r * 0.14, 4, 45 + 12 * f), (255, 255, 235), alpha=(1.0, 0.9, 0.6)[f])
        # the figure: flash, topple, dissolve
        fig_alpha = 1.0 if f < 9 else max(0.0, 1 - (f - 8) / 6)
        if fig_alpha > 0:
            fc = Canvas(100, 100)
            rot = 86 * smoothstep((f - 2) / 6) ** 1.5 if f >= 2 else (-5 if f == 1 else 0)
            fc.transform(fig_scale * k, (50, 88), rot, to=feet)
            draw_figure(fc)
            if f == 0:
                tint, amount = (255, 255, 255), 0.7
            elif f == 1:
                tint, amount = (232, 36, 36), 0.5
            else:
                tint, amount = (40, 40, 48), min(0.5, 0.07 * (f - 1))
            col = Image.new("RGBA", fc.img.size, tint + (255,))
            col.putalpha(fc.img.getchannel("A"))
            fc.img = Image.blend(fc.img, col, amount)
            if fig_alpha < 1:
                fc.img.putalpha(fc.img.getchannel("A").point(lambda v: int(v * fig_alpha)))
            c.img.alpha_composite(fc.img)
        # dust on impact
        if 7 <= f <= 12:
            age = f - 7
            for vx, vy, r in dust:
                x = 50 + 10 + vx * age * 2.2
                y = ground + vy * age * 2 + 0.25 * age * age
                c.fill(circle(x, y, r * (1 - age / 7)), (206, 190, 160), alpha=0.9)
        # smoke: solid while young, thinning at the end of its life
        for birth, x, y, dx, rise, r0, r1, shade, life in puffs:
            age = f - birth
            if age < 0 or age > life:
                continue
            t = age / life
            r = r0 + (r1 - r0) * smoothstep(t * 1.6)
            px, py = x + dx * age, y - rise * age
            a = 1.0 if t < 0.3 else max(0.0, 1 - (t - 0.3) / 0.7) ** 1.1
            lo = mix((128, 124, 134), (164, 160, 168), (shade + 1) / 2)
            c.fill(circle(px, py, r), rad((px - r * 0.3, py - r * 0.35), r * 1.5, (232, 230, 234), lo, (198, 196, 202)),
                   alpha=a)
        # the last wisps, thinning out over the final frames
        if f >= 19:
            age = f - 19
            for i, (wx, wr) in enumerate(((-7, 4.5), (3, 5.5), (11, 4.0))):
                px, py = 50 + wx + 0.6 * age * (i - 1), ground - 30 - 1.6 * age - 3 * i
                c.fill(circle(px, py, wr + 0.5 * age), rad((px - 1.5, py - 2), wr * 1.8, (232, 230, 234), (160, 156, 166)),
                       alpha=0.95 - 0.09 * age)
        # blood
        if 1 <= f <= 9:
            t = f - 1
            for x0, y0, vx, vy, r in drops:
                x, y = x0 + vx * t, y0 + vy * t + 0.3 * t * t
                rr = r * (1 - t / 12)
                if y < ground + 3:
                    c.fill(circle(x, y, rr), (176, 14, 18))
                    c.fill(circle(x - rr * 0.3, y - rr * 0.3, rr * 0.35), (236, 90, 90))
        # embers rising out of the smoke
        for birth, x, y, dx, rise in embers:
            age = f - birth
            if 0 <= age <= 12:
                c.fill(circle(x + dx * age + math.sin(age * 0.9) * 1.2, y - rise * age, 1.0),
                       mix((255, 226, 120), (236, 86, 30), age / 12))
        frames.append(c.img.resize((100, 100), Image.LANCZOS))
    return frames


def save_gif(frames, path):
    # one palette for all frames, index 255 reserved for transparency
    strip = Image.new("RGB", (100, 100 * len(frames)), (0, 0, 0))
    for i, fr in enumerate(frames):
        strip.paste(fr.convert("RGB"), (0, 100 * i), fr.getchannel("A").point(lambda v: 255 if v > 0 else 0))
    pal_img = strip.quantize(colors=255, method=Image.Quantize.MEDIANCUT, dither=Image.Dither.NONE)
    pal = pal_img.getpalette()[:255 * 3]
    pal += [0, 0, 0] * (255 - len(pal) // 3)
    pal += list(GIF_KEY)
    ref = Image.new("P", (1, 1))
    ref.putpalette(pal)
    out = []
    for fr in frames:
        a = fr.getchannel("A")
        # ordered dither of the alpha channel into the single transparent index
        ad = bytearray(a.tobytes())
        for y in range(100):
            row = BAYER4[y % 4]
            for x in range(100):
                v = ad[y * 100 + x]
                ad[y * 100 + x] = 255 if v > 40 + (row[x % 4] + 0.5) * 11 else 0
        opaque = Image.frombytes("L", (100, 100), bytes(ad))
        # an empty frame, or one equal to the previous, would be merged or lost by the writer
        assert opaque.getbbox() is not None, "empty animation frame"
        p = fr.convert("RGB").quantize(palette=ref, dither=Image.Dither.NONE)
        p.paste(255, (0, 0, 100, 100), ImageChops.invert(opaque))
        p.info.pop("transparency", None)
        out.append(p)
    for a, b in zip(out, out[1:]):
        assert ImageChops.difference(a.convert("RGB"), b.convert("RGB")).getbbox() is not None, "repeated frame"
    out[0].save(path, save_all=True, append_images=out[1:], duration=GIF_DELAYS_MS, disposal=2,
                transparency=255, optimize=False)


# ---------------------------------------------------------------------------
# Sounds
# ---------------------------------------------------------------------------

SR = 44100


def lowpass(x, fc):
    a = math.exp(-2 * math.pi * fc / SR)
    b = 1 - a
    y = 0.0
    out = [0.0] * len(x)
    for i, v in enumerate(x):
        y = b * v + a * y
        out[i] = y
    return out


def highpass(x, fc):
    lp = lowpass(x, fc)
    return [v - l for v, l in zip(x, lp)]


def noise(n, rng):
    return [rng.uniform(-1, 1) for _ in range(n)]


def env(n, attack, tau, start=0):
    out = [0.0] * n
    for i in range(start, n):
        t = (i - start) / SR
        a = min(1.0, t / attack) if attack > 0 else 1.0
        out[i] = a * math.exp(-t / tau)
    return out


def thump(n, f0, f1, tau, sweep, start=0):
    out = [0.0] * n
    ph = 0.0
    for i in range(start, n):
        t = (i - start) / SR
        f = f1 + (f0 - f1) * math.exp(-t / sweep)
        ph += 2 * math.pi * f / SR
        out[i] = math.sin(ph) * math.exp(-t / tau) * min(1.0, t / 0.0015)
    return out


def click(n, rng, start, dur, fc_lo, fc_hi, amp, ring=()):
    """A short mechanical click: band-limited noise and a few ringing partials."""
    m = int(dur * SR)
    seg = highpass(lowpass(noise(m, rng), fc_hi), fc_lo)
    out = [0.0] * n
    for i in range(m):
        if start + i >= n:
            break
        t = i / SR
        v = seg[i] * math.exp(-t / (dur / 5))
        for f, a in ring:
            v += a * math.sin(2 * math.pi * f * t) * math.exp(-t / (dur / 3))
        out[start + i] = amp * v
    return out


def mul(a, b):
    return [x * y for x, y in zip(a, b)]


def add(*sigs):
    return [sum(v) for v in zip(*sigs)]


def scale(x, k):
    return [v * k for v in x]


class Reverb:
    """A small Freeverb: parallel damped combs, then series all-passes."""

    COMBS = (1116, 1188, 1277, 1356, 1422, 1491)
    ALLPASS = (556, 441, 341, 225)

    def __init__(self, room, damp, spread=0):
        self.room, self.damp, self.spread = room, damp, spread

    def run(self, x):
        n = len(x)
        out = [0.0] * n
        for L in self.COMBS:
            L += self.spread
            buf = [0.0] * L
            idx, store = 0, 0.0
            fb, d1, d2 = self.room, self.damp, 1 - self.damp
            for i in range(n):
                y = buf[idx]
                store = y * d2 + store * d1
                buf[idx] = x[i] * 0.015 + store * fb
                out[i] += y
                idx += 1
                if idx == L:
                    idx = 0
        for L in self.ALLPASS:
            L += self.spread
            buf = [0.0] * L
            idx = 0
            for i in range(n):
                b = buf[idx]
                v = out[i]
                buf[idx] = v + b * 0.5
                out[i] = b - v
                idx += 1
                if idx == L:
                    idx = 0
        return out


def delay(x, d, gain):
    n = len(x)
    out = [0.0] * n
    for i in range(d, n):
        out[i] = x[i - d] * gain
    return out


def fade_tail(x, secs):
    n = len(x)
    m = int(secs * SR)
    out = list(x)
    for i in range(n - m, n):
        t = (i - (n - m)) / m
        out[i] *= 0.5 + 0.5 * math.cos(math.pi * t)
    return out


def write_wav(path, left, right, peak=0.89):
    """16-bit stereo PCM, DC removed, scaled so that the peak is at -1 dBFS."""
    left, right = highpass(left, 20), highpass(right, 20)
    top = max(max(abs(v) for v in left), max(abs(v) for v in right)) or 1.0
    k = peak * 32767 / top
    inter = []
    for a, b in zip(left, right):
        inter.append(int(round(a * k)))
        inter.append(int(round(b * k)))
    with wave.open(path, "wb") as w:
        w.setnchannels(2)
        w.setsampwidth(2)
        w.setframerate(SR)
        w.writeframes(struct.pack("<%dh" % len(inter), *inter))


def shot(n, rng, crack_tau, body_fc, body_tau, thump_f, thump_tau, thump_amp, crack_amp=1.0, body_amp=0.9):
    crack = mul(highpass(noise(n, rng), 2500), env(n, 0.0004, crack_tau))
    body = mul(lowpass(lowpass(noise(n, rng), body_fc), body_fc * 1.5), env(n, 0.001, body_tau))
    boom = thump(n, thump_f[0], thump_f[1], thump_tau, 0.03)
    return add(scale(crack, crack_amp), scale(body, body_amp * 3.0), scale(boom, thump_amp))


def stereo_tail(dry, room, damp, wet, spread=23):
    left = Reverb(room, damp).run(dry)
    right = Reverb(room, damp, spread).run(dry)
    return ([d + wet * l for d, l in zip(dry, left)], [d + wet * r for d, r in zip(dry, right)])


def sound_gun():
    n = round(2.06 * SR)
    rng = random.Random(7707)
    dry = shot(n, rng, 0.010, 1800, 0.045, (170, 62), 0.07, 0.75)
    casing = add(click(n, rng, int(0.46 * SR), 0.05, 2500, 9000, 0.10, ((3150, 0.5), (5230, 0.35), (7410, 0.2))),
                 click(n, rng, int(0.58 * SR), 0.04, 2500, 9000, 0.06, ((3300, 0.5), (5400, 0.3))))
    dry = add(dry, casing)
    left, right = stereo_tail(dry, 0.82, 0.3, 1.6)
    return fade_tail(left, 0.3), fade_tail(right, 0.3)


def sound_shotgun():
    n = round(1.99 * SR)
    rng = random.Random(8808)
    dry = shot(n, rng, 0.016, 1100, 0.09, (130, 44), 0.14, 1.0, crack_amp=0.8, body_amp=1.1)
    pump = add(click(n, rng, int(0.62 * SR), 0.06, 500, 4000, 0.22, ((1400, 0.3), (2300, 0.2))),
               click(n, rng, int(0.78 * SR), 0.07, 400, 3500, 0.26, ((1200, 0.35), (2100, 0.25))))
    dry = add(dry, pump)
    left, right = stereo_tail(dry, 0.84, 0.35, 1.9)
    return fade_tail(left, 0.3), fade_tail(right, 0.3)


def sound_snipe():
    n = round(4.06 * SR)
    rng = random.Random(9909)
    dry = shot(n, rng, 0.004, 2200, 0.07, (120, 38), 0.22, 0.95, crack_amp=1.5, body_amp=0.8)
    # the supersonic snap: a tiny N-wave at the very start
    for i in range(int(0.0012 * SR)):
        t = i / (0.0012 * SR)
        dry[i] += 1.2 * (1 - 2 * t)
    echo_src = lowpass(lowpass(dry, 1400), 1400)
    left, right = list(dry), list(dry)
    for k, (d, g) in enumerate([(0.38, 0.42), (0.83, 0.30), (1.36, 0.20), (1.97, 0.13), (2.65, 0.08)]):
        e = delay(echo_src, int(d * SR), g)
        gl, gr = (1.0, 0.55) if k % 2 == 0 else (0.55, 1.0)
        left = [a + gl * b for a, b in zip(left, e)]
        right = [a + gr * b for a, b in zip(right, e)]
    bolt = add(click(n, rng, int(1.45 * SR), 0.05, 800, 6000, 0.10, ((2100, 0.3),)),
               click(n, rng, int(1.62 * SR), 0.06, 700, 5000, 0.12, ((1800, 0.3),)))
    tail_l = Reverb(0.9, 0.25).run(left)
    tail_r = Reverb(0.9, 0.25, 23).run(right)
    left = [a + 0.9 * b + c for a, b, c in zip(left, tail_l, bolt)]
    right = [a + 0.9 * b + c for a, b, c in zip(right, tail_r, bolt)]
    return fade_tail(left, 0.4), fade_tail(right, 0.4)


# ---------------------------------------------------------------------------
# The application icon: a crosshair over a rune star on a tile of arena grass,
# drawn in 64 design units at every size so that small sizes stay crisp.
# ---------------------------------------------------------------------------

def icon(size):
    c = Canvas(size, size)
    c.transform(size / 64)
    c.fill(rrect(3, 3, 61, 61, 12), rad((24, 20), 52, (104, 168, 84), (22, 58, 34), (58, 112, 56)))
    ring = circle(32, 32, 22.5)
    c.fill(ring, (250, 204, 72), sub=circle(32, 32, 18.5))
    for x0, y0, x1, y1 in ((32, 8, 32, 15), (32, 49, 32, 56), (8, 32, 15, 32), (49, 32, 56, 32)):
        c.line([(x0, y0), (x1, y1)], 4, (250, 204, 72))
    c.fill(star(32, 32, 15, 4.2, 4, 45), rad((32, 32), 15, (255, 236, 255), (150, 60, 230), (214, 140, 255)))
    c.fill(circle(32, 32, 3), (255, 255, 255))
    c.outline((16, 26, 20), 0.03 * size + 0.5)
    return c.done()


def save_icons():
    os.makedirs(ICON_DIR, exist_ok=True)
    for size in ICON_SIZES:
        icon(size).save(os.path.join(ICON_DIR, "vorlen-%d.png" % size), format="PNG", optimize=True)
    print("vorlen-N.png       icon, %s px" % ", ".join(map(str, ICON_SIZES)))


# ---------------------------------------------------------------------------
# Main
# ---------------------------------------------------------------------------

def write_qrc(names):
    """resources.qrc: one collection with no prefix, every file under its folder."""
    lines = ["<RCC>", "    <qresource>"]
    lines += ["        <file>%s</file>" % n for n in sorted(names)]
    lines += ["    </qresource>", "</RCC>", ""]
    with open(os.path.join(ROOT, "resources.qrc"), "w", newline="\n") as f:
        f.write("\n".join(lines))


def save_png(img, name):
    assert img.mode == "RGBA"
    img.save(os.path.join(RES_DIR, name), format="PNG", optimize=True)


def mirrored(img):
    return img.transpose(Image.FLIP_LEFT_RIGHT)


def main():
    os.makedirs(RES_DIR, exist_ok=True)
    os.makedirs(SND_DIR, exist_ok=True)
    for stale in ("tree1.png", "flower1.png"):
        p = os.path.join(RES_DIR, stale)
        if os.path.exists(p):
            os.remove(p)

    pictures, scales = {}, {}
    ranges = {
        "player.png": (player, 0.6, 1.2),
        "dead_player.png": (dead_player, 0.6, 1.2),
        "gun.png": (gun, 0.7, 1.25),
        "shotgun.png": (shotgun, 0.7, 1.0),
        "snipe.png": (snipe, 0.5, 0.86),
        "bullet.png": (bullet, 0.6, 1.3),
        "fireball.png": (fireball, 0.6, 1.1),
        "magicwand.png": (magicwand, 0.6, 1.2),
        "crystal_ball.png": (crystal_ball, 0.6, 1.4),
        "magichat.png": (magichat, 0.6, 1.2),
        "tree.png": (tree, 0.6, 1.1),
        "tree2.png": (bush, 0.6, 1.3),
        "flower.png": (flower((232, 52, 62), (150, 18, 34), (252, 206, 64)), 0.6, 2.0),
        "flower2.png": (flower((255, 224, 64), (214, 150, 18), (156, 92, 30)), 0.6, 2.0),
        "flower3.png": (flower((176, 96, 226), (104, 42, 156), (252, 222, 96)), 0.6, 2.0),
        "flower4.png": (flower((96, 146, 246), (36, 76, 196), (255, 240, 150)), 0.6, 2.0),
        "cactus.png": (cactus, 0.6, 1.2),
        "magicbullet1.png": (magicbullet((120, 96, 255)), 0.5, 1.6),
        "magicbullet2.png": (magicbullet((255, 214, 40)), 0.5, 1.6),
        "magicbullet3.png": (magicbullet((236, 44, 36)), 0.5, 1.6),
        "magicbullet4.png": (magicbullet((236, 50, 210)), 0.5, 1.6),
        "sparkle.png": (sparkle, 0.5, 1.1),
        "water1.png": (water((118, 140, 168)), 0.5, 1.6),
        "water2.png": (water((130, 198, 244)), 0.5, 1.6),
        "water3.png": (water((40, 100, 226)), 0.5, 1.6),
    }
    for name, (fn, lo, hi) in ranges.items():
        pictures[name], scales[name] = fit(fn, COVERAGE[name], lo, hi)
    for a, b in (("gun.png", "gun2.png"), ("shotgun.png", "shotgun2.png"),
                 ("snipe.png", "snipe2.png"), ("magicwand.png", "magicwand2.png")):
        pictures[b] = mirrored(pictures[a])
    pictures["background.png"] = background_grass()
    pictures["background2.png"] = background_sand()
    for name in sorted(pictures):
        save_png(pictures[name], name)
        print("%-18s %4dx%-4d covered %5.1f%%" % (name, pictures[name].width, pictures[name].height,
                                                   100 * coverage(pictures[name])))

    # the death animation, with the figure at the avatar's scale
    save_gif(death_frames(scales["player.png"]), os.path.join(RES_DIR, "player_death.gif"))
    print("player_death.gif   25 frames, %d ms" % sum(GIF_DELAYS_MS))

    sounds = (("gun_shoot.wav", sound_gun), ("shotgun_shoot.wav", sound_shotgun),
              ("snipe_shoot.wav", sound_snipe))
    for name, fn in sounds:
        left, right = fn()
        write_wav(os.path.join(SND_DIR, name), left, right)
        print("%-18s %d frames, %.3f s" % (name, len(left), len(left) / SR))

    save_icons()
    write_qrc(["resources/" + n for n in list(pictures) + ["player_death.gif"]] +
              ["sounds/" + n for n, _ in sounds])


if __name__ == "__main__":
    main()
