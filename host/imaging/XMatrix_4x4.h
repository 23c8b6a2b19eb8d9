#pragma once

#include "host/core/XInternalError.h"
#include "host/core/XStream.h"
#include "host/imaging/XMathVectorF3.h"

#include <array>
#include <cmath>
#include <limits>
#include <numbers>

// A 4 x 4 matrix of sixteen elements stored column by column: element index = column * 4 + row,
// so the translation of an affine matrix is in elements 12, 13 and 14. Points are column
// vectors and A * B applies B first.
template <class T>
class XMatrix_4x4
{
public:
    // The identity.
    constexpr XMatrix_4x4() : itsElements{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1} {}
    // Sixteen elements in storage order.
    constexpr explicit XMatrix_4x4(const T (&inElements)[16])
    {
        for (int i = 0; i < 16; ++i)
        {
            itsElements[i] = inElements[i];
        }
    }
    constexpr explicit XMatrix_4x4(const std::array<T, 16>& inElements) : itsElements(inElements) {}

    static constexpr XMatrix_4x4 Identity() { return XMatrix_4x4(); }

    static constexpr XMatrix_4x4 Translation(T inX, T inY, T inZ)
    {
        XMatrix_4x4 result;
        result.itsElements[12] = inX;
        result.itsElements[13] = inY;
        result.itsElements[14] = inZ;
        return result;
    }

    static constexpr XMatrix_4x4 Scale(T inX, T inY, T inZ)
    {
        XMatrix_4x4 result;
        result.itsElements[0] = inX;
        result.itsElements[5] = inY;
        result.itsElements[10] = inZ;
        return result;
    }

    // Right-handed rotation by inDegrees about inAxis (normalised here); the angle's sine and
    // cosine are taken in double precision.
    static XMatrix_4x4 Rotation(const XMathVectorF3& inAxis, T inDegrees)
    {
        const XMathVectorF3 a = inAxis.Normalized();
        const double radians = static_cast<double>(inDegrees) * (std::numbers::pi / 180.0);
        const T c = static_cast<T>(std::cos(radians));
        const T s = static_cast<T>(std::sin(radians));
        const T k = T(1) - c;
        const T x = a.x;
        const T y = a.y;
        const T z = a.z;
        XMatrix_4x4 result;
        result.At(0, 0) = c + k * x * x;
        result.At(0, 1) = k * x * y - s * z;
        result.At(0, 2) = k * x * z + s * y;
        result.At(1, 0) = k * x * y + s * z;
        result.At(1, 1) = c + k * y * y;
        result.At(1, 2) = k * y * z - s * x;
        result.At(2, 0) = k * x * z - s * y;
        result.At(2, 1) = k * y * z + s * x;
        result.At(2, 2) = c + k * z * z;
        return result;
    }

    constexpr T& operator[](int inIndex) { return itsElements[inIndex]; }
    constexpr T operator[](int inIndex) const { return itsElements[inIndex]; }
    constexpr T& At(int inRow, int inColumn) { return itsElements[inColumn * 4 + inRow]; }
    constexpr T At(int inRow, int inColumn) const { return itsElements[inColumn * 4 + inRow]; }
    constexpr const std::array<T, 16>& GetElements() const { return itsElements; }

    constexpr XMatrix_4x4 operator*(const XMatrix_4x4& inRight) const
    {
        XMatrix_4x4 result;
        for (int column = 0; column < 4; ++column)
        {
            for (int row = 0; row < 4; ++row)
            {
                T sum = 0;
                for (int k = 0; k < 4; ++k)
                {
                    sum += At(row, k) * inRight.At(k, column);
                }
                result.At(row, column) = sum;
            }
        }
        return result;
    }

    constexpr XMatrix_4x4 Transpose() const
    {
        XMatrix_4x4 result;
        for (int column = 0; column < 4; ++column)
        {
            for (int row = 0; row < 4; ++row)
            {
                result.At(row, column) = At(column, row);
            }
        }
        return result;
    }

    constexpr T Determinant() const
    {
        const std::array<T, 16> c = ComputeAdjugate();
        const T* m = itsElements.data();
        return m[0] * c[0] + m[1] * c[4] + m[2] * c[8] + m[3] * c[12];
    }

    // General inversion by cofactors. A singular matrix (determinant exactly 0) has no inverse:
    // that is reported as an internal error and every element of the result is NaN.
    XMatrix_4x4 Inverse() const
    {
        const std::array<T, 16> c = ComputeAdjugate();
        const T* m = itsElements.data();
        const T determinant = m[0] * c[0] + m[1] * c[4] + m[2] * c[8] + m[3] * c[12];
        XMatrix_4x4 result;
        if (determinant == T(0))
        {
            XReportInternalError("determinant != 0", "host/imaging/XMatrix_4x4", __LINE__);
            result.itsElements.fill(std::numeric_limits<T>::quiet_NaN());
            return result;
        }
        const T inverseDeterminant = T(1) / determinant;
        for (int i = 0; i < 16; ++i)
        {
            result.itsElements[i] = c[i] * inverseDeterminant;
        }
        return result;
    }

    // An affine point transform: uses the translation and does not divide by w.
    constexpr XMathVectorF3 TransformPoint(const XMathVectorF3& inPoint) const
    {
        const T* m = itsElements.data();
        return {
            static_cast<float>(m[0] * inPoint.x + m[4] * inPoint.y + m[8] * inPoint.z + m[12]),
            static_cast<float>(m[1] * inPoint.x + m[5] * inPoint.y + m[9] * inPoint.z + m[13]),
            static_cast<float>(m[2] * inPoint.x + m[6] * inPoint.y + m[10] * inPoint.z + m[14])};
    }

    // A direction transform: the upper 3 x 3 part only.
    constexpr XMathVectorF3 TransformVector(const XMathVectorF3& inVector) const
    {
        const T* m = itsElements.data();
        return {static_cast<float>(m[0] * inVector.x + m[4] * inVector.y + m[8] * inVector.z),
                static_cast<float>(m[1] * inVector.x + m[5] * inVector.y + m[9] * inVector.z),
                static_cast<float>(m[2] * inVector.x + m[6] * inVector.y + m[10] * inVector.z)};
    }

    // Sixteen float32 values in storage order.
    void Write(XStream& outStream) const
    {
        for (const T value : itsElements)
        {
            outStream.WriteFloat32S(static_cast<float>(value));
        }
    }
    void Read(XStream& inStream)
    {
        inStream.CheckRemaining(16 * 4);
        for (T& value : itsElements)
        {
            value = static_cast<T>(inStream.ReadFloat32S());
        }
    }

    constexpr bool operator==(const XMatrix_4x4& inOther) const = default;

private:
    // The transposed cofactor matrix (the adjugate), in storage order.
    constexpr std::array<T, 16> ComputeAdjugate() const
    {
        const T* m = itsElements.data();
        std::array<T, 16> inv{};
        inv[0] = m[5] * m[10] * m[15] - m[5] * m[11] * m[14] - m[9] * m[6] * m[15] +
                 m[9] * m[7] * m[14] + m[13] * m[6] * m[11] - m[13] * m[7] * m[10];
        inv[4] = -m[4] * m[10] * m[15] + m[4] * m[11] * m[14] + m[8] * m[6] * m[15] -
                 m[8] * m[7] * m[14] - m[12] * m[6] * m[11] + m[12] * m[7] * m[10];
        inv[8] = m[4] * m[9] * m[15] - m[4] * m[11] * m[13] - m[8] * m[5] * m[15] +
                 m[8] * m[7] * m[13] + m[12] * m[5] * m[11] - m[12] * m[7] * m[9];
        inv[12] = -m[4] * m[9] * m[14] + m[4] * m[10] * m[13] + m[8] * m[5] * m[14] -
                  m[8] * m[6] * m[13] - m[12] * m[5] * m[10] + m[12] * m[6] * m[9];
        inv[1] = -m[1] * m[10] * m[15] + m[1] * m[11] * m[14] + m[9] * m[2] * m[15] -
                 m[9] * m[3] * m[14] - m[13] * m[2] * m[11] + m[13] * m[3] * m[10];
        inv[5] = m[0] * m[10] * m[15] - m[0] * m[11] * m[14] - m[8] * m[2] * m[15] +
                 m[8] * m[3] * m[14] + m[12] * m[2] * m[11] - m[12] * m[3] * m[10];
        inv[9] = -m[0] * m[9] * m[15] + m[0] * m[11] * m[13] + m[8] * m[1] * m[15] -
                 m[8] * m[3] * m[13] - m[12] * m[1] * m[11] + m[12] * m[3] * m[9];
        inv[13] = m[0] * m[9] * m[14] - m[0] * m[10] * m[13] - m[8] * m[1] * m[14] +
                  m[8] * m[2] * m[13] + m[12] * m[1] * m[10] - m[12] * m[2] * m[9];
        inv[2] = m[1] * m[6] * m[15] - m[1] * m[7] * m[14] - m[5] * m[2] * m[15] +
                 m[5] * m[3] * m[14] + m[13] * m[2] * m[7] - m[13] * m[3] * m[6];
        inv[6] = -m[0] * m[6] * m[15] + m[0] * m[7] * m[14] + m[4] * m[2] * m[15] -
                 m[4] * m[3] * m[14] - m[12] * m[2] * m[7] + m[12] * m[3] * m[6];
        inv[10] = m[0] * m[5] * m[15] - m[0] * m[7] * m[13] - m[4] * m[1] * m[15] +
                  m[4] * m[3] * m[13] + m[12] * m[1] * m[7] - m[12] * m[3] * m[5];
        inv[14] = -m[0] * m[5] * m[14] + m[0] * m[6] * m[13] + m[4] * m[1] * m[14] -
                  m[4] * m[2] * m[13] - m[12] * m[1] * m[6] + m[12] * m[2] * m[5];
        inv[3] = -m[1] * m[6] * m[11] + m[1] * m[7] * m[10] + m[5] * m[2] * m[11] -
                 m[5] * m[3] * m[10] - m[9] * m[2] * m[7] + m[9] * m[3] * m[6];
        inv[7] = m[0] * m[6] * m[11] - m[0] * m[7] * m[10] - m[4] * m[2] * m[11] +
                 m[4] * m[3] * m[10] + m[8] * m[2] * m[7] - m[8] * m[3] * m[6];
        inv[11] = -m[0] * m[5] * m[11] + m[0] * m[7] * m[9] + m[4] * m[1] * m[11] -
                  m[4] * m[3] * m[9] - m[8] * m[1] * m[7] + m[8] * m[3] * m[5];
        inv[15] = m[0] * m[5] * m[10] - m[0] * m[6] * m[9] - m[4] * m[1] * m[10] +
                  m[4] * m[2] * m[9] + m[8] * m[1] * m[6] - m[8] * m[2] * m[5];
        return inv;
    }

    std::array<T, 16> itsElements;
};
