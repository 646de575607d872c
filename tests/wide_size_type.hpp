// The SizeType that is needed, as a careful consumer might declare it.
namespace rapidjson {
using SizeType = unsigned long;
}
