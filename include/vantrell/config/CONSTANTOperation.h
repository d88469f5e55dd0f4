#pragma once

// CONSTANTOperation: the one kind of operation that the library itself supplies, a list of keys with
// fixed values taken from CONSTANT lines of the collection configuration. A collector that offers
// constants publishes a prototype of it. CONSTANTOperationMetadata is its record in the result file.
//
// Copyable and movable. One thread at a time.

#include <string>
#include <utility>
#include <vector>

#include "vantrell/Export.h"
#include "vantrell/config/Operation.h"
#include "vantrell/record/Metadata.h"

namespace pwr {

class VR_EXPORT CONSTANTOperation : public Operation {
  public:
    using Pairs = std::vector<std::pair<std::string, std::string>>;
    using const_iterator = Pairs::const_iterator;

    // The type is "CONSTANT".
    explicit CONSTANTOperation(std::string const& name);

    // Appends (key, value) and returns 0. A key already present, compared exactly, logs "ERROR: key %s
    // already set!\n" and gives -1: a constant can't change once set.
    int set(std::string const& key, std::string const& value) override;
    // A new record of the name and the pairs; the caller owns it.
    OperationMetadata* getOperationMetadata() const override;
    // A copy with the same strings, categories, requirements and pairs; the caller owns it.
    Operation* clone() const override;

    const_iterator begin() const { return values.begin(); }
    const_iterator end() const { return values.end(); }

  private:
    Pairs values;
};

// The record of a CONSTANTOperation. Its operation field is always "CONSTANT". It is stored in the form
// of every OperationMetadata (type 3): the pairs live in memory only.
class VR_EXPORT CONSTANTOperationMetadata : public OperationMetadata {
  public:
    using Pairs = CONSTANTOperation::Pairs;
    using const_iterator = Pairs::const_iterator;

    explicit CONSTANTOperationMetadata(std::string const& name);
    CONSTANTOperationMetadata(std::string const& name, Pairs const& values);

    const_iterator begin() const { return values.begin(); }
    const_iterator end() const { return values.end(); }

  private:
    Pairs values;
};

}  // namespace pwr
