// SPDX-License-Identifier: Apache-2.0
#include "tool/BodyWriter.h"

#include "core/POIndex.h"
#include "core/POVersion.h"
#include "objects/DOFBlock.h"
#include "tool/Error.h"

namespace fieldstore::tool {

BodyWriter::BodyWriter(const TemporaryFile& file, bool text,
                       const std::optional<std::string>& version)
    : stream(text, file.Path(), POStreamIO::OutputCloser(&POStreamFileIO::CloseOutputFile)) {
    stream.OpenOutputOn(file.OpenEmptied());
    const POVersion line(version.value_or(""));
    if (!line.IsWritable(text, '\n'))
        throw Error("", "the version text could not be read back",
                    "At most 254 bytes, without a zero byte or a line end.");
    line.WriteLine(stream, "\n");
}

BodyWriter::BodyWriter(const std::shared_ptr<std::ostream>& out, bool text)
    : stream(text, "", POStreamIO::OutputCloser(&POStreamFileIO::CloseOutputFile)) {
    stream.OpenOutputInto(out);
}

void BodyWriter::Write(const AnyBody& any) {
    std::visit(
        [this](const auto& body) {
            using Body = std::decay_t<decltype(body)>;
            if constexpr (std::is_same_v<Body, BlockedDOFListBody>)
                WriteBlocks(body);
            else
                Body::Visit(body, *this);
        },
        any);
}

void BodyWriter::WriteBlocks(const BlockedDOFListBody& body) {
    if (stream.IsTextMode())
        throw Error("", "a DOF list in blocks has no text form", "Keep it binary.");
    BlockedDOFListHeader::Visit(body, *this);
    POIndex index;
    std::vector<char> block;
    const std::uint64_t indexPosition = stream.Tell();
    index.BuildIndex(block, static_cast<int>(body.blocks.size()), DOFBlock::kBookmarkWidth);
    stream.Write(block, 1, " ", "\n");
    for (const auto& [number, arrays] : body.blocks) {
        index.SetBookmark(std::to_string(number), static_cast<std::int64_t>(stream.Tell()));
        const auto entries = BlockedDOFListBody::Arrays(arrays);
        DOFBlock::KindCounts counts{};
        for (std::size_t k = 0; k < counts.size(); ++k)
            counts[k] = static_cast<std::int64_t>(Records(*entries[k], body.Widths()[k]));
        DOFBlock::Write(stream, counts,
                        {*entries[0], *entries[1], *entries[2], *entries[3], *entries[4]});
    }
    stream.Seek(indexPosition);
    index.BuildIndex(block, -1, 0);
    stream.Write(block, 1, " ", "\n");
}

void BodyWriter::Close() {
    stream.CloseOutput();
}

}  // namespace fieldstore::tool
