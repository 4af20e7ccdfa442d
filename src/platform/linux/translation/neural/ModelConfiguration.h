#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quillora::neural {

/// What a model says of its own shape.
struct ModelConfiguration {
    std::size_t dimension = 0;      ///< of a token's vector
    std::size_t innerDimension = 0; ///< of the feed-forward layers
    std::size_t heads = 0;
    std::size_t encoderDepth = 0;
    std::size_t decoderDepth = 0;
    std::size_t sourceVocabulary = 0;
    std::size_t targetVocabulary = 0;
    bool sharedEmbeddings = false; ///< one matrix embeds both languages

    /// Reads the YAML that every model carries. Each key is known by name: either it is read, or it has the
    /// one value that is computed here, or it has no influence on a model of this kind. Throws ModelError for
    /// anything else.
    static ModelConfiguration parse(std::string_view yaml);

    bool operator==(const ModelConfiguration &) const = default;
};

} // namespace quillora::neural
