// RapidJSON as a careless consumer might configure it: with a SizeType of its own, too narrow.
#define RAPIDJSON_NO_SIZETYPEDEFINE
namespace rapidjson {
using SizeType = unsigned;
}
