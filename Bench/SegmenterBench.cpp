// Throughput of the two segmenters on POI-like names, and the time to load
// the dictionary written from the default word list (Data/words.txt).
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "Compiler/CoreDictWriter.h"
#include "Compiler/GbkCodec.h"
#include "POIEngine/eDictionary.h"
#include "POIEngine/eMMWordSeg.h"
#include "POIEngine/eMPWordSeg.h"

using namespace Kest;

namespace {

// "CoreDict.dct" written once from the default word list.
const std::string& DictPath()
{
    static const std::string path = [] {
        std::string source = __FILE__; // <root>/Bench/this file
        source = source.substr(0, source.rfind('/')) + "/../Data/words.txt";
        std::ifstream list(source);
        if (!list) {
            std::fprintf(stderr, "cannot read %s\n", source.c_str());
            std::exit(1);
        }
        CoreDictWriter writer;
        std::string word;
        long long freq = 0;
        while (list >> word >> freq)
            writer.Add(GbkCodec::Gbk(word), freq);
        const std::string out = "/tmp/SegmenterBench-" + std::to_string(getpid()) + ".dct";
        std::string error;
        CoreDictWriter::Summary sum;
        if (!writer.Write(out, &sum, &error)) {
            std::fprintf(stderr, "%s\n", error.c_str());
            std::exit(1);
        }
        std::fprintf(stderr, "dictionary: %d words, %d arena bytes\n", sum.words, sum.arenaBytes);
        return out;
    }();
    return path;
}

void LoadDict()
{
    eDictionary::GetInstance().UnLoad();
    eDictionary::GetInstance().Load(DictPath().c_str(), false);
}

// About 500 names built from real place names of Beijing and Shanghai and
// the words of real shop and service names, in GBK.
const std::vector<eString>& Names()
{
    static const std::vector<eString> names = [] {
        const char* places[] = {"北京", "上海", "海淀", "朝阳", "东城", "西城", "丰台", "浦东", "徐汇", "静安",
                                "中关村", "王府井", "西单", "五道口", "望京", "陆家嘴", "南京路", "淮海路",
                                "人民广场", "国贸"};
        const char* kinds[] = {"中国银行", "工商银行", "建设银行", "农业银行", "招商银行", "人民医院", "中医医院",
                               "妇幼保健院", "第一中学", "实验小学", "加油站", "停车场", "超市", "便利店", "药店",
                               "邮政局", "派出所", "电影院", "图书馆", "体育馆", "大酒店", "宾馆", "火锅店",
                               "烤鸭店", "咖啡馆", "书店", "花店", "理发店", "洗衣店", "汽车站"};
        const char* suffixes[] = {"", "分行", "支行", "分店", "东门", "西门", "南门", "北门", "营业厅", "服务中心"};
        std::vector<eString> out;
        int i = 0;
        for (const char* p : places)
            for (const char* k : kinds)
                for (const char* s : suffixes)
                    if (i++ % 12 == 0)
                        out.push_back(eString(GbkCodec::Gbk(std::string(p) + k + s).c_str()));
        return out;
    }();
    return names;
}

std::int64_t NameBytes()
{
    std::int64_t n = 0;
    for (const eString& s : Names())
        n += s.GetLength();
    return n;
}

void BM_LoadDictionary(benchmark::State& state)
{
    const char* path = DictPath().c_str();
    eDictionary& dict = eDictionary::GetInstance();
    for (auto _ : state) {
        dict.UnLoad();
        benchmark::DoNotOptimize(dict.Load(path, false));
    }
    state.counters["words"] = dict.GetWordCount();
}
BENCHMARK(BM_LoadDictionary)->Unit(benchmark::kMillisecond);

void BM_SegmentSentenceMM(benchmark::State& state)
{
    LoadDict();
    eMMWordSeg seg;
    seg.SetDict(eDictionary::GetInstance());
    for (auto _ : state)
        for (const eString& name : Names())
            benchmark::DoNotOptimize(seg.SegmentSentenceMM(name));
    state.SetBytesProcessed(state.iterations() * NameBytes());
    state.counters["names/s"] = benchmark::Counter(static_cast<double>(state.iterations() * Names().size()),
                                                   benchmark::Counter::kIsRate);
}
BENCHMARK(BM_SegmentSentenceMM);

void BM_SegmentSentenceMP(benchmark::State& state)
{
    LoadDict();
    eMPWordSeg seg;
    seg.SetDict(eDictionary::GetInstance());
    for (auto _ : state)
        for (const eString& name : Names())
            benchmark::DoNotOptimize(seg.SegmentSentenceMP(name));
    state.SetBytesProcessed(state.iterations() * NameBytes());
    state.counters["names/s"] = benchmark::Counter(static_cast<double>(state.iterations() * Names().size()),
                                                   benchmark::Counter::kIsRate);
}
BENCHMARK(BM_SegmentSentenceMP);

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    DictPath();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::remove(DictPath().c_str());
    return 0;
}
