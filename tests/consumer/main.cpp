/// Uses both styles through the installed headers and libraries, catches the host's exception
/// across library boundaries, and lets the host destroy arrays that the library made.

#include "platform/exceptions.hpp"

#include <ostra/io/json/tree/level_reader.hpp>
#include <ostra/io/json/tree/node_vector.hpp>

#include <iostream>

namespace tree = ostra::io::json::tree;

template <class Message>
using Thrown = foundation::core::except::Exception<Message, std::exception, void>;

int main() {
    tree::LevelReader reader = tree::LevelReader::MakeStringReader(uR"({"a":[1,2,3]})", {});
    bool caught = false;
    try {
        reader.cdSelector("a");
    } catch (const Thrown<OSTRA::string::MissingNotSupported>&) {
        return 1; // not that one
    } catch (const Thrown<OSTRA::io::json::common::InvalidJSONPointer>& error) {
        const foundation::core::except::IMsgIDException& message = error;
        caught = message.GetID() == expectedError &&
                 dynamic_cast<const std::exception*>(&message) != nullptr;
    }

    const auto dom = tree::make_dom_ptr();
    *dom = tree::read_string(reader.writeString({}), {});
    const tree::NodeVector root{dom, {&dom->document}};
    const auto [found, missing] = root.get_children("/a");
    const tree::NodeVectorData data = found.get_children().get_data();
    const bool right = caught && missing->size() == 1 && !missing->data()[0] &&
                       data.doubles->size() == 3 && data.doubles->data()[2] == 3.0 &&
                       tree::NodeVector::class_name == "NodeVector";
    std::cout << (right ? "consumer: all well\n" : "consumer: wrong\n");
    return right ? 0 : 1;
}
