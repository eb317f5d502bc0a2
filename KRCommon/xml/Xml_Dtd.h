#pragma once

/// \file
/// Reads a document type declaration: checks that its internal subset is well formed, and keeps the
/// general entities that it declares. Other declarations have no effect; what is external is
/// refused.
///
/// Threads: one at a time.

#include <KRCommon/xml/Xml_Scanner.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace kr_internal {

class Xml_Dtd : public Xml_Scanner {
protected:
    explicit Xml_Dtd(std::string_view document) : Xml_Scanner(document) {}
    ~Xml_Dtd() = default;

    /// From "DOCTYPE" to ">". Whether one may stand here is the caller's to know.
    bool read_doctype();

private:
    bool read_subset();
    bool read_subset_declaration();
    bool refuse_external_subset();
    bool refuse_parameter_reference();
    bool read_element_declaration();
    bool read_content_model();
    bool read_mixed_content();
    bool read_group(std::size_t depth);
    void skip_occurrence() noexcept;
    bool read_attribute_list();
    bool read_attribute_type();
    bool read_enumeration(bool of_names);
    bool read_token(bool is_name);
    bool read_attribute_default();
    bool read_entity_declaration();
    bool read_entity_value(std::string& replacement);
    bool append_unresolved(std::string& replacement);
    bool refuse_external_entity();
    bool define_entity(std::string_view name, std::string&& replacement);
    bool read_notation_declaration();
    bool read_literal(int kind);
};

} // namespace kr_internal
