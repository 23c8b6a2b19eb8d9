#include "host/imaging/XMathVectorF3.h"

#include <gtest/gtest.h>

TEST(XMathVectorF3Test, CrossIsRightHandedAndOrthogonal)
{
    const XMathVectorF3 x(1, 0, 0);
    const XMathVectorF3 y(0, 1, 0);
    const XMathVectorF3 z(0, 0, 1);
    EXPECT_EQ(Cross(x, y), z);
    EXPECT_EQ(Cross(y, z), x);
    EXPECT_EQ(Cross(z, x), y);
    EXPECT_EQ(Cross(y, x), -z);

    const XMathVectorF3 a(1, 2, 3);
    const XMathVectorF3 b(-4, 0.5f, 2);
    const XMathVectorF3 c = Cross(a, b);
    // (2*2 - 3*0.5, 3*(-4) - 1*2, 1*0.5 - 2*(-4))
    EXPECT_EQ(c, XMathVectorF3(2.5f, -14, 8.5f));
    EXPECT_FLOAT_EQ(Dot(c, a), 0);
    EXPECT_FLOAT_EQ(Dot(c, b), 0);
}

TEST(XMathVectorF3Test, ArithmeticAndComponentAccess)
{
    XMathVectorF3 v(1, -2, 4);
    EXPECT_EQ(v[0], 1);
    EXPECT_EQ(v[1], -2);
    EXPECT_EQ(v[2], 4);
    v[1] = 5;
    EXPECT_EQ(v, XMathVectorF3(1, 5, 4));

    EXPECT_EQ(v + XMathVectorF3(1, 1, 1), XMathVectorF3(2, 6, 5));
    EXPECT_EQ(v - XMathVectorF3(1, 1, 1), XMathVectorF3(0, 4, 3));
    EXPECT_EQ(2.0f * v, XMathVectorF3(2, 10, 8));
    EXPECT_EQ(v * 2.0f, XMathVectorF3(2, 10, 8));
    EXPECT_EQ(v / 2.0f, XMathVectorF3(0.5f, 2.5f, 2));
    EXPECT_EQ(Mul(v, XMathVectorF3(2, 3, -1)), XMathVectorF3(2, 15, -4));
    EXPECT_FLOAT_EQ(Dot(v, XMathVectorF3(1, 1, 1)), 10);

    XMathVectorF3 w = v;
    w += XMathVectorF3(1, 2, 3);
    w -= XMathVectorF3(0, 0, 1);
    w *= 3;
    EXPECT_EQ(w, XMathVectorF3(6, 21, 18));

    const XMathVectorF3 u(3, 0, 4);
    EXPECT_FLOAT_EQ(u.LengthSquared(), 25);
    EXPECT_FLOAT_EQ(u.Length(), 5);
    const XMathVectorF3 n = u.Normalized();
    EXPECT_FLOAT_EQ(n.x, 0.6f);
    EXPECT_FLOAT_EQ(n.y, 0);
    EXPECT_FLOAT_EQ(n.z, 0.8f);
}
