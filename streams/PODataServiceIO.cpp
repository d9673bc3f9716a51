// SPDX-License-Identifier: Apache-2.0
#include "streams/PODataServiceIO.h"

#include <stdexcept>
#include <utility>

#include "streams/StreamMessages.h"

PODataServiceIO::PODataServiceIO(const std::string& name, InputPreparer readCallback)
    : POStreamIO(false, name, std::move(readCallback)) {}

void PODataServiceIO::Seek(std::uint64_t) {
    throw std::runtime_error(fieldstore::messages::kDataServiceSeek);
}
