#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

struct tiff;

// A TIFF file open for reading through libtiff. libtiff's errors and warnings are collected per
// file (never printed) and quoted in the XException that a failure throws; every message names
// the file. Reading planes is safe from several threads: calls are serialised.
class XTiffFile
{
public:
    // What a page (image file directory) holds; tag values as libtiff reports them.
    struct XPage
    {
        std::uint64_t offset = 0; // of the directory in the file
        std::uint32_t width = 0;
        std::uint32_t height = 0;
        std::uint16_t bitsPerSample = 0;
        std::uint16_t samplesPerPixel = 0;
        std::uint16_t sampleFormat = 0; // 1 unsigned, 2 signed, 3 floating point
        std::uint16_t photometric = 0;
        bool separatePlanes = false; // each sample in chunks of its own
        bool tiled = false;
    };

    // Opens the file and reads every page's directory. Throws XException: kIOError when the
    // file is missing or is not a readable TIFF (bad header, a directory or data that ends
    // early).
    explicit XTiffFile(const std::filesystem::path& inPath);
    ~XTiffFile();
    XTiffFile(const XTiffFile&) = delete;
    XTiffFile& operator=(const XTiffFile&) = delete;

    // The file's name without its folder, as messages give it.
    const std::string& GetName() const { return itsName; }
    std::size_t GetPageCount() const { return itsPages.size(); }
    const XPage& GetPage(std::size_t inPage) const { return itsPages[inPage]; }

    // Tags of the first page: ImageDescription ("" when absent), XResolution and YResolution
    // (0 when absent).
    const std::string& GetDescription() const { return itsDescription; }
    double GetXResolution() const { return itsXResolution; }
    double GetYResolution() const { return itsYResolution; }

    // Decodes one page into outPlane: rows from the top, samples of a pixel adjacent, in the
    // machine's byte order. outPlane must hold exactly width × height × samples × bytes per
    // sample; bits per sample must be 8, 16 or 32. Throws XException (kIOError) when the
    // data cannot be decoded.
    void ReadPlane(std::size_t inPage, std::span<std::byte> outPlane);

    // Message capture for libtiff's handlers; not for other callers.
    struct XMessages;

private:
    [[noreturn]] void Fail(const std::string& inWhat) const;
    void ReadStrips(std::size_t inPage, std::span<std::byte> outPlane);
    void ReadTiles(std::size_t inPage, std::span<std::byte> outPlane);

    std::string itsName;
    std::unique_ptr<XMessages> itsMessages;
    tiff* itsTiff = nullptr;
    std::vector<XPage> itsPages;
    std::string itsDescription;
    double itsXResolution = 0.0;
    double itsYResolution = 0.0;
    std::vector<std::byte> itsChunk; // one strip or tile, reused
    std::mutex itsMutex;
};
