// The forms that a graph is stored in, as a table: a row is all it takes to add one.
#ifndef CATALOGUE_STORED_FORM_H_
#define CATALOGUE_STORED_FORM_H_

#include <array>
#include <vector>

#include "kiv/base/byteBuffer.h"
#include "kiv/base/object.h"
#include "kiv/base/refPtr.h"
#include "kiv/base/status.h"

namespace catalogue {

struct StoredForm {
    const char* name;    // heads the column of its figures
    const char* suffix;  // of its file; empty for the file that was asked for
    kiv::Status (*write)(const kiv::RefPtr<kiv::Object>& root, std::vector<unsigned char>* bytes);
    kiv::RefPtr<kiv::Object> (*read)(kiv::ArrayView<const unsigned char> bytes,
                                     kiv::Status* status);
};

extern const std::array<StoredForm, 2> kStoredForms;

}  // namespace catalogue

#endif  // CATALOGUE_STORED_FORM_H_
