#include <ostra/io/json/tree/level_reader.hpp>
#include <ostra/io/json/tree/node_vector.hpp>

#include <iostream>
#include <span>

namespace tree = ostra::io::json::tree;

int main() {
    // A level at a time: a cursor, and what lies below it as flat typed lists.
    tree::LevelReader reader = tree::LevelReader::MakeFileReader(u"data/stations.json", {});
    if (reader.cdSelector("/stations/0/sensors/0/samples")) {
        std::cout << reader.listDoubles().size() << " samples\n";
    }

    // Many records at once: every station's depth as one column, edited and put back.
    const auto dom = tree::make_dom_ptr();
    *dom = tree::read_file(u"data/stations.json", {});
    const tree::NodeVector root{dom, {&dom->document}};
    const tree::NodeVector stations = root.get_children("/stations").first.get_children();
    auto [depths, missing] = stations.get_children("/position/depth_m");
    tree::NodeVectorData data = depths.get_data();
    for (double& depth : std::span(data.doubles->data(), data.doubles->size())) {
        depth *= -1;
    }
    depths.set_data(data);
    tree::write_file(*dom, u"below_zero.json", {});
    std::cout << depths.nodes.size() << " depths of " << missing->size() << " stations\n";
}
