#!/usr/bin/env python3
"""Check a source directory for `poi build` (for example Data/Sample) on its own terms.

    Scripts/check-source.py Data/Sample

Reads only the directory, not the generator, and checks what the compiler relies on:
the CSV headers and RFC 4180 rows, names encodable in GBK within 63 bytes, coordinates
inside the polygon of the row's county (with its own point-in-polygon test), counties
known to districts.geojson and each there once, category codes known to
categories.txt, the form of categories.txt as the engine reads it, telephone numbers
of digits only, closed rings whose edges do not cross. Prints every fault (at most 20
per kind) and exits 1 if there is any.
"""

import collections
import csv
import json
import os
import sys

POINT_COLS = ['name', 'lon', 'lat', 'category', 'phone', 'province', 'city', 'county']
CROSS_COLS = ['name', 'lon', 'lat', 'province', 'city', 'county']
AROUND_RANGES = [(1050, 1055), (2000, 2040), (3000, 3090), (7000, 7038), (9030, 9050),
                 (11000, 11051), (12050, 12060)]

faults = collections.Counter()


def fault(kind, text):
    faults[kind] += 1
    if faults[kind] <= 20:
        print('%s: %s' % (kind, text))


def inside(rings, x, y):
    """Even-odd rule over all rings of a county (outer rings and holes alike)."""
    c = False
    for ring in rings:
        for (x1, y1), (x2, y2) in zip(ring, ring[1:]):
            if (y1 > y) != (y2 > y) and x < x1 + (y - y1) * (x2 - x1) / (y2 - y1):
                c = not c
    return c


def orient(a, b, c):
    v = (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0])
    return (v > 0) - (v < 0)


def crossings(rings):
    """Number of pairs of edges of a county that properly cross (a valid polygon has
    none); edges sorted by their west end, each compared with those that overlap it."""
    edges = sorted(((min(p[0], q[0]), max(p[0], q[0]), p, q)
                    for r in rings for p, q in zip(r, r[1:])), key=lambda e: e[:2])
    n = 0
    for i, (_, east, p1, p2) in enumerate(edges):
        for west, _, q1, q2 in edges[i + 1:]:
            if west > east:
                break
            if (orient(p1, p2, q1) * orient(p1, p2, q2) < 0
                    and orient(q1, q2, p1) * orient(q1, q2, p2) < 0):
                n += 1
    return n


def load_districts(path):
    with open(path, encoding='utf-8') as f:
        data = json.load(f)
    counties = {}
    for i, ft in enumerate(data['features']):
        p = ft['properties']
        key = (p['province'], p['city'], p['county'])
        if key in counties:
            fault('district', 'county %s appears twice' % '/'.join(key))
        g = ft['geometry']
        polys = [g['coordinates']] if g['type'] == 'Polygon' else g['coordinates']
        if g['type'] not in ('Polygon', 'MultiPolygon'):
            fault('district', 'feature %d: geometry %s' % (i, g['type']))
        rings = []
        for poly in polys:
            for ring in poly:
                if len(ring) < 4 or ring[0] != ring[-1]:
                    fault('district', '%s: ring not closed or shorter than 4 positions'
                          % key[2])
                rings.append([tuple(p) for p in ring])
        n = crossings(rings)
        if n:
            fault('district', '%s: %d pairs of boundary edges cross' % (key[2], n))
        for name in key:
            check_name('district', name, key[2])
        counties[key] = rings
    return counties


def check_name(kind, name, where):
    try:
        n = len(name.encode('gbk'))
    except UnicodeEncodeError:
        fault(kind, '%s: %r not encodable in GBK' % (where, name))
        return
    if n == 0 or n > 63:
        fault(kind, '%s: %r is %d GBK bytes' % (where, name, n))


def load_categories(path):
    codes = {}
    branch_seen = False
    with open(path, encoding='utf-8') as f:
        for no, line in enumerate(f, 1):
            line = line.rstrip('\n')
            where = 'categories.txt:%d' % no
            if len(line.encode('gbk')) + 1 >= 100:
                fault('categories', '%s: longer than the 100-byte line buffer' % where)
            if line.startswith('\t'):
                parts = line[1:].split('\t')
                if len(parts) != 2 or not parts[1].isdigit() or ' ' in parts[0] or not parts[0]:
                    fault('categories', '%s: leaf line is not TAB name TAB code' % where)
                    continue
                if not branch_seen:
                    fault('categories', '%s: leaf before the first branch' % where)
                if int(parts[1]) in codes:
                    fault('categories', '%s: code %s twice' % (where, parts[1]))
                codes[int(parts[1])] = parts[0]
            else:
                if not line.strip() or ' ' in line:
                    fault('categories', '%s: blank branch line or space in a name' % where)
                branch_seen = True
    for lo, hi in AROUND_RANGES:
        if not any(lo <= c <= hi for c in codes):
            fault('categories', 'no category code in the around range %d-%d' % (lo, hi))
    return codes


def check_rows(path, cols, counties, codes):
    fname = os.path.basename(path)
    used = collections.Counter()
    names = set()
    with open(path, encoding='utf-8', newline='') as f:
        r = csv.reader(f)
        header = next(r)
        if header != cols:
            fault('header', '%s: %s' % (fname, ','.join(header)))
            return used
        for no, row in enumerate(r, 2):
            where = '%s:%d' % (fname, no)
            if len(row) != len(cols):
                fault('csv', '%s: %d fields' % (where, len(row)))
                continue
            d = dict(zip(cols, row))
            check_name('name', d['name'], where)
            key = (d['province'], d['city'], d['county'])
            if key not in counties:
                fault('county', '%s: unknown county %s' % (where, '/'.join(key)))
                continue
            try:
                x, y = float(d['lon']), float(d['lat'])
            except ValueError:
                fault('coordinate', '%s: not a number' % where)
                continue
            if not inside(counties[key], x, y):
                fault('coordinate', '%s: %s,%s outside %s' % (where, d['lon'], d['lat'], key[2]))
            if 'category' in d:
                if not d['category'].isdigit() or int(d['category']) not in codes:
                    fault('category', '%s: unknown category %s' % (where, d['category']))
                if d['phone'] and not d['phone'].isdigit():
                    fault('phone', '%s: %s' % (where, d['phone']))
                if fname == 'pois.csv' and not d['phone']:
                    fault('phone', '%s: POI without a telephone number' % where)
            if (key, d['name']) in names:
                fault('duplicate', '%s: %s twice in %s' % (where, d['name'], key[2]))
            names.add((key, d['name']))
            used[key[0]] += 1
    return used


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    src = sys.argv[1]
    counties = load_districts(os.path.join(src, 'districts.geojson'))
    codes = load_categories(os.path.join(src, 'categories.txt'))
    for name, cols in (('pois.csv', POINT_COLS), ('sights.csv', POINT_COLS),
                       ('placenames.csv', POINT_COLS), ('crossroads.csv', CROSS_COLS)):
        used = check_rows(os.path.join(src, name), cols, counties, codes)
        print('%-15s %s' % (name, ', '.join('%s %d' % kv for kv in used.items())))
    print('%d counties, %d categories' % (len(counties), len(codes)))
    words = os.path.join(src, 'words.txt')
    if os.path.exists(words):
        with open(words, encoding='utf-8') as f:
            for no, line in enumerate(f, 1):
                parts = line.split()
                if len(parts) != 2 or not parts[1].isdigit():
                    fault('words', 'words.txt:%d: not "word frequency"' % no)
    if faults:
        print('faults: ' + ', '.join('%s %d' % kv for kv in sorted(faults.items())))
        sys.exit(1)
    print('ok')


if __name__ == '__main__':
    main()
