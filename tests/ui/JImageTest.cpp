#include "ui/JImage.h"

#include <gtest/gtest.h>
#include <type_traits>

#include "core/JObject.h"

TEST(JImageTest, IsAClassOfItsOwnWithAVirtualDestructor) {
    EXPECT_FALSE((std::is_base_of<JObject, JImage>::value));
    EXPECT_TRUE(std::has_virtual_destructor<JImage>::value);
    bool destroyed = false;
    class Picture : public JImage {
    public:
        explicit Picture(bool& flag) : flag_(flag) {}
        ~Picture() override { flag_ = true; }
        bool& flag_;
    };
    JImage* image = new Picture(destroyed);
    delete image;
    EXPECT_TRUE(destroyed);
}
