// SPDX-License-Identifier: Apache-2.0
#include "core/ObjectStorage.h"

#include <stdexcept>
#include <utility>

#include "core/AppendMark.h"
#include "core/ErrorLog.h"
#include "core/Messages.h"
#include "core/SideFiles.h"
#include "fieldstore/IPOBase.h"
#include "streams/FileNames.h"
#include "streams/PODataServiceIO.h"
#include "streams/POWindowsFileLocker.h"
#include "streams/StreamErrors.h"

namespace fieldstore {

void ObjectStorage::Create(int type, bool withLock) {
    RequireUsableNames();
    auto newStream = MakeStream(type, directory + fileName);
    const bool writesFile = type == IPOBase::eWriteText || type == IPOBase::eWriteBinary;
    if (writesFile && withLock) MakeLocker();
    stream = std::move(newStream);
}

/// A zero byte, as buffers of other languages may leave one behind a name, would end the paths made
/// of it early, and one file would be taken for another.
void ObjectStorage::RequireUsableNames() const {
    for (const std::string* name : {&directory, &lockDirectory, &fileName})
        if (name->find('\0') != std::string::npos)
            throw std::runtime_error(messages::kZeroByteInName);
}

std::shared_ptr<POStreamIO> ObjectStorage::MakeStream(int type, const std::string& path) {
    const POStreamIO::InputPreparer nothing = [](const std::string&) {};
    std::shared_ptr<POStreamFileIO> file;
    switch (type) {
        case IPOBase::eReadText:
        case IPOBase::eReadBinary:
            file = std::make_shared<POStreamFileIO>(type == IPOBase::eReadText, path, nothing);
            break;
        case IPOBase::eWriteText:
        case IPOBase::eWriteBinary:
            file = std::make_shared<POStreamFileIO>(
                type == IPOBase::eWriteText, path,
                POStreamIO::OutputCloser(&POStreamFileIO::CloseOutputFile));
            break;
        case IPOBase::eReadDataService:
        case IPOBase::eWriteDataService:
            return std::make_shared<PODataServiceIO>(path, nothing);
        default:
            throw std::runtime_error(messages::kUnsupportedStorageType);
    }
    file->AcceptEmptyVectorAtEnd();
    file->ReplaceWhenClosed();
    return file;
}

void ObjectStorage::MakeLocker() {
    const std::string data = directory + fileName;
    const std::string marker = LockPathFor(lockDirectory.empty() ? data : lockDirectory + fileName);
    if (marker == data || platform::WholePath(marker) == platform::WholePath(data))
        throw std::runtime_error(messages::kLockIsDataFile);
    locker = std::make_shared<POWindowsFileLocker>(marker, [] { return std::string("Lock"); });
    lockPath = marker;
}

void ObjectStorage::Drop() {
    stream.reset();
    locker.reset();
    lockPath.clear();
}

POStreamIO& ObjectStorage::Require() const {
    if (!stream) throw std::runtime_error(messages::kNullStream);
    return *stream;
}

POStreamIO& ObjectStorage::RequireGood() const {
    POStreamIO& required = Require();
    if (!required.IsGood()) throw std::runtime_error(messages::kBadStream);
    return required;
}

POStreamFileIO& ObjectStorage::RequireFile() const {
    POStreamFileIO* file = dynamic_cast<POStreamFileIO*>(&RequireGood());
    if (file == nullptr) throw std::runtime_error(messages::kBadStream);
    return *file;
}

void ObjectStorage::OpenInput(bool appended) const {
    POStreamFileIO* file = File();
    if (file == nullptr || file->ReadsMemory()) return Require().OpenInput();
    file->EndInputAt(std::nullopt);
    file->OpenInput();
    if (!file->IsGood()) throw InputNotOpened(Identifier(), file->SystemError());
    const auto length = appended ? AcknowledgedLength() : std::nullopt;
    if (!length) return;
    file->EndInputAt(length);
    file->OpenInput();
}

std::vector<std::string> ObjectStorage::MarkPlaces() const {
    std::vector<std::string> places{AppendMarkPathFor(Identifier())};
    if (!lockPath.empty()) places.push_back(AppendMarkPathFor(lockPath));
    return places;
}

std::optional<std::uint64_t> ObjectStorage::AcknowledgedLength() const {
    const std::string data = Identifier();
    for (const std::string& owner : {data, lockPath.empty() ? LockPathFor(data) : lockPath}) {
        const AppendMark mark = AppendMark::At(AppendMarkPathFor(owner));
        const bool isOfData = mark.kind == AppendMark::Kind::Mark &&
                              mark.CountsFor(platform::WholePath(data), owner == data);
        if (isOfData && mark.record.EndsData()) return mark.record.length;
    }
    return std::nullopt;
}

void ObjectStorage::RemoveMarks() const noexcept {
    try {
        const std::string data = platform::WholePath(Identifier());
        const auto places = MarkPlaces();
        for (const std::string& place : places) {
            const AppendMark mark = AppendMark::At(place);
            if (mark.CountsFor(data, place == places.front())) platform::Remove(place);
        }
    } catch (const std::exception&) {
        // A mark that stays costs the next commit a look through the data.
    }
}

std::string ObjectStorage::LogPath() const {
    return stream ? ErrorLogPathFor(stream->GetIdentifier()) : std::string();
}

void ObjectStorage::Log(const std::string& message, const std::string& logPath) const {
    const std::string name = stream ? stream->GetIdentifier() : "<unknown>";
    const bool isData = logPath == name;  // a data file named *.err must not take log lines in
    AppendToErrorLog(isData ? "" : logPath, "Error on stream " + name + ": " + message);
}

}  // namespace fieldstore
