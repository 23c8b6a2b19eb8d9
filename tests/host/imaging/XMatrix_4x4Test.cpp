#include "host/imaging/XMatrix_4x4.h"

#include "host/core/XInternalError.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace
{
template <class T>
void ExpectNearIdentity(const XMatrix_4x4<T>& inMatrix, double inTolerance)
{
    for (int row = 0; row < 4; ++row)
    {
        for (int column = 0; column < 4; ++column)
        {
            EXPECT_NEAR(inMatrix.At(row, column), row == column ? 1.0 : 0.0, inTolerance)
                << "row " << row << " column " << column;
        }
    }
}

void ExpectNear(const XMathVectorF3& inActual, const XMathVectorF3& inExpected,
                float inTolerance = 1e-6f)
{
    EXPECT_NEAR(inActual.x, inExpected.x, inTolerance);
    EXPECT_NEAR(inActual.y, inExpected.y, inTolerance);
    EXPECT_NEAR(inActual.z, inExpected.z, inTolerance);
}

// A general, well-conditioned matrix: a random matrix with entries in [-1, 1] plus 4 on the
// diagonal (strictly diagonally dominant), so the projective row is not (0, 0, 0, 1).
template <class T>
XMatrix_4x4<T> MakeRandomMatrix(std::mt19937& ioRandom)
{
    std::uniform_real_distribution<double> entry(-1.0, 1.0);
    std::array<T, 16> elements{};
    for (int i = 0; i < 16; ++i)
    {
        elements[i] = static_cast<T>(entry(ioRandom) + (i % 5 == 0 ? 4.0 : 0.0));
    }
    return XMatrix_4x4<T>(elements);
}
} // namespace

TEST(XMatrix_4x4Test, ElementLayoutIsColumnMajorWithTranslationInTwelveToFourteen)
{
    const XMatrix_4x4<float> identity;
    EXPECT_EQ(identity, XMatrix_4x4<float>::Identity());
    for (int i = 0; i < 16; ++i)
    {
        EXPECT_EQ(identity[i], i % 5 == 0 ? 1.0f : 0.0f) << i;
    }

    const XMatrix_4x4<float> translation = XMatrix_4x4<float>::Translation(1, 2, 3);
    EXPECT_EQ(translation[12], 1);
    EXPECT_EQ(translation[13], 2);
    EXPECT_EQ(translation[14], 3);
    EXPECT_EQ(translation.At(0, 3), 1);

    XMatrix_4x4<float> m;
    m[11] = 7;
    EXPECT_EQ(m.At(3, 2), 7);
    EXPECT_EQ(m.Transpose().At(2, 3), 7);
    EXPECT_EQ(m.Transpose()[14], 7);

    const float raw[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    const XMatrix_4x4<float> fromArray(raw);
    EXPECT_EQ(fromArray.At(1, 2), 10); // column 2 starts at element 8
    EXPECT_EQ(fromArray.Transpose().At(2, 1), 10);
    EXPECT_EQ(fromArray.Transpose().Transpose(), fromArray);
}

TEST(XMatrix_4x4Test, ProductAppliesTheRightHandMatrixFirst)
{
    using M = XMatrix_4x4<float>;
    const XMathVectorF3 p(1, 1, 1);
    // Scale first: (2, 3, 4), then translate.
    EXPECT_EQ((M::Translation(1, 2, 3) * M::Scale(2, 3, 4)).TransformPoint(p),
              XMathVectorF3(3, 5, 7));
    // Translate first: (2, 3, 4), then scale.
    EXPECT_EQ((M::Scale(2, 3, 4) * M::Translation(1, 2, 3)).TransformPoint(p),
              XMathVectorF3(4, 9, 16));

    // Products agree with applying the factors one after the other.
    std::mt19937 random(7);
    for (int trial = 0; trial < 20; ++trial)
    {
        const M a = MakeRandomMatrix<float>(random);
        const M b = MakeRandomMatrix<float>(random);
        const XMathVectorF3 v(0.5f, -1.5f, 2.0f);
        // Only the upper three rows act on points, so compare with affine matrices.
        M affineA = a;
        M affineB = b;
        for (const int i : {3, 7, 11})
        {
            affineA[i] = 0;
            affineB[i] = 0;
        }
        affineA[15] = 1;
        affineB[15] = 1;
        ExpectNear((affineA * affineB).TransformPoint(v),
                   affineA.TransformPoint(affineB.TransformPoint(v)), 1e-4f);
    }
}

TEST(XMatrix_4x4Test, InverseOfRandomMatricesGivesTheIdentity)
{
    std::mt19937 random(1234);
    for (int trial = 0; trial < 200; ++trial)
    {
        const XMatrix_4x4<float> m = MakeRandomMatrix<float>(random);
        const XMatrix_4x4<float> inverse = m.Inverse();
        ExpectNearIdentity(m * inverse, 1e-5);
        ExpectNearIdentity(inverse * m, 1e-5);

        const XMatrix_4x4<double> md = MakeRandomMatrix<double>(random);
        ExpectNearIdentity(md * md.Inverse(), 1e-13);
    }

    using M = XMatrix_4x4<float>;
    EXPECT_FLOAT_EQ(M::Scale(2, 3, 4).Determinant(), 24);
    const M transform = M::Translation(1, -2, 3) * M::Rotation({1, 2, 3}, 33) * M::Scale(2, 4, 8);
    const M inverse = transform.Inverse();
    ExpectNear(inverse.TransformPoint(XMathVectorF3(1, -2, 3)), {0, 0, 0});
    ExpectNear(inverse.TransformPoint(transform.TransformPoint({0.25f, 5, -1})), {0.25f, 5, -1},
               1e-5f);
}

TEST(XMatrix_4x4Test, SingularMatrixHasNoInverse)
{
    XInternalErrorCapture capture;
    const XMatrix_4x4<float> flat = XMatrix_4x4<float>::Scale(1, 0, 1);
    EXPECT_EQ(flat.Determinant(), 0);
    const XMatrix_4x4<float> inverse = flat.Inverse();
    for (int i = 0; i < 16; ++i)
    {
        EXPECT_TRUE(std::isnan(inverse[i])) << i;
    }
    EXPECT_EQ(capture.GetConditions(), std::vector<std::string>{"determinant != 0"});
}

TEST(XMatrix_4x4Test, RotationIsRightHandedAndOrthonormal)
{
    using M = XMatrix_4x4<float>;
    ExpectNear(M::Rotation({0, 0, 1}, 90).TransformVector({1, 0, 0}), {0, 1, 0});
    ExpectNear(M::Rotation({0, 0, 5}, 90).TransformVector({1, 0, 0}), {0, 1, 0});
    ExpectNear(M::Rotation({1, 0, 0}, 90).TransformVector({0, 1, 0}), {0, 0, 1});
    ExpectNear(M::Rotation({0, 1, 0}, 90).TransformVector({0, 0, 1}), {1, 0, 0});
    ExpectNear(M::Rotation({0, 0, 1}, -90).TransformVector({1, 0, 0}), {0, -1, 0});
    ExpectNear(M::Rotation({0, 0, 1}, 180).TransformVector({1, 2, 3}), {-1, -2, 3}, 1e-6f);
    // A third of a turn about the diagonal cycles the axes.
    ExpectNear(M::Rotation({1, 1, 1}, 120).TransformVector({1, 0, 0}), {0, 1, 0});
    ExpectNear(M::Rotation({1, 1, 1}, 120).TransformVector({0, 1, 0}), {0, 0, 1});

    const M r = M::Rotation({0.3f, -2, 0.7f}, 71);
    ExpectNearIdentity(r * r.Transpose(), 1e-6);
    EXPECT_NEAR(r.Determinant(), 1, 1e-6);
    // The axis itself is left in place, and there is no translation.
    const XMathVectorF3 axis = XMathVectorF3(0.3f, -2, 0.7f).Normalized();
    ExpectNear(r.TransformVector(axis), axis);
    EXPECT_EQ(r.TransformPoint({0, 0, 0}), XMathVectorF3(0, 0, 0));
}

TEST(XMatrix_4x4Test, PointsUseTranslationAndIgnoreTheProjectiveRow)
{
    XMatrix_4x4<float> m = XMatrix_4x4<float>::Translation(10, 20, 30);
    m[3] = 5; // row 3: would change w, which is never divided out
    m[11] = -1;
    EXPECT_EQ(m.TransformPoint({1, 2, 3}), XMathVectorF3(11, 22, 33));
    EXPECT_EQ(m.TransformVector({1, 2, 3}), XMathVectorF3(1, 2, 3));
}

TEST(XMatrix_4x4Test, StreamHoldsSixteenFloatsInStorageOrder)
{
    std::array<float, 16> elements{};
    for (int i = 0; i < 16; ++i)
    {
        elements[i] = 0.5f * static_cast<float>(i) - 3.0f;
    }
    const XMatrix_4x4<float> m(elements);
    XMemoryStream stream;
    m.Write(stream);
    ASSERT_EQ(stream.GetBytes().size(), 64u);

    XMemoryStream copy(stream.GetBytes());
    for (int i = 0; i < 16; ++i)
    {
        EXPECT_EQ(copy.ReadFloat32S(), elements[i]) << i;
    }

    XMemoryStream in(stream.GetBytes());
    XMatrix_4x4<float> read;
    read.Read(in);
    EXPECT_EQ(read, m);

    // A short stream throws and leaves the matrix as it was.
    std::vector<std::uint8_t> shortBytes = stream.GetBytes();
    shortBytes.resize(60);
    XMemoryStream truncated(shortBytes);
    XMatrix_4x4<float> untouched;
    EXPECT_THROW(untouched.Read(truncated), XException);
    EXPECT_EQ(untouched, XMatrix_4x4<float>());
}
