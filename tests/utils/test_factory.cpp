#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "utils/Factory.h"

namespace factory_test {

using velmo::Factory;
using velmo::FactoryRegisterer;
using velmo::json;
using velmo::test::LogCapture;

// A small family of its own, so the factory is tested apart from the library's names.
struct Shape {
  virtual ~Shape() = default;
  static Factory<Shape>& getFactory() {
    static Factory<Shape> factory("shape_type");
    return factory;
  }
};

struct Square : Shape {
  double side = 1.0;
  void create(const json& params) {
    if (params.is_object() && params.contains("side")) side = params["side"].get<double>();
  }
};

struct Circle : Shape {
  void create(const json&) {}
};

const FactoryRegisterer<Shape, Square> registerSquare("Square", "Shape");
const FactoryRegisterer<Shape, Circle> registerCircle("Circle", "Shape");
// A later registration under a taken name is dropped.
const FactoryRegisterer<Shape, Circle> registerSquareAgain("Square", "Shape");

TEST(Factory, CreatesByNameWithItsOwnParameters) {
  EXPECT_EQ(Shape::getFactory().getNames(), (std::vector<std::string>{"Circle", "Square"}));

  LogCapture log;
  auto shape = Shape::getFactory().createInstance(json{{"shape_type", "Square"}, {"Square_params", {{"side", 3}}}});
  auto* square = dynamic_cast<Square*>(shape.get());
  ASSERT_NE(square, nullptr) << "the first registration of a name must stay";
  EXPECT_EQ(square->side, 3.0);
  // Only "<name>_params" counts; other blocks belong to other names.
  shape = Shape::getFactory().createInstance(json{{"shape_type", "Square"}, {"Circle_params", {{"side", 9}}}});
  EXPECT_EQ(dynamic_cast<Square&>(*shape).side, 1.0);
  EXPECT_NE(dynamic_cast<Circle*>(Shape::getFactory().createInstance(json{{"shape_type", "Circle"}}).get()), nullptr);
  EXPECT_EQ(log.texts(), (std::vector<std::string>{"Shape::createInstance: name Square, params {\"side\":3}",
                                                   "Shape::createInstance: name Square, params null",
                                                   "Shape::createInstance: name Circle, params null"}));
  for (const auto& line : log.lines) EXPECT_EQ(line.severity, google::GLOG_INFO);
}

TEST(Factory, UnknownNamesLogAndCreatorErrorsPassThrough) {
  LogCapture log;
  EXPECT_EQ(Shape::getFactory().createInstance(json{{"shape_type", "Triangle"}}), nullptr);
  EXPECT_EQ(log.texts(), (std::vector<std::string>{"getCreator Triangle failed", "createInstance Triangle failed"}));
  for (const auto& line : log.lines) EXPECT_EQ(line.severity, google::GLOG_INFO);
  json config{{"shape_type", "Square"}, {"Square_params", {{"side", "wide"}}}};
  EXPECT_THROW(Shape::getFactory().createInstance(config), json::type_error);
}

TEST(FactoryDeathTest, ConfigWithoutKeyStops) {
  EXPECT_DEATH(Shape::getFactory().createInstance(json{{"solver_type", "Square"}}),
               "Check failed: json.contains\\(key\\) json \\{\"solver_type\":\"Square\"\\} not contains key "
               "shape_type");
  EXPECT_DEATH(Shape::getFactory().createInstance(json::array({"shape_type"})),
               "Check failed: json.contains\\(key\\) json \\[\"shape_type\"\\] not contains key shape_type");
  EXPECT_DEATH(Shape::getFactory().createInstance(json()),
               "Check failed: json.contains\\(key\\) json null not contains key shape_type");
}

}  // namespace factory_test
