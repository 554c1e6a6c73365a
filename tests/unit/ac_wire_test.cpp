#include "common/ac_wire.h"

#include <gtest/gtest.h>

#include <vector>

using Bytes = std::vector<UINT8>;

TEST(AcWireReader, fields_are_taken_in_order_as_little_endian_values)
{
    const Bytes bytes = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07};
    wire_reader reader{bytes};
    EXPECT_EQ(wire_take<UINT8>(reader), 0x01);
    EXPECT_EQ(wire_take<UINT16>(reader), 0x0302); // from an odd address
    EXPECT_EQ(wire_take<UINT32>(reader), 0x07060504U);
    EXPECT_FALSE(reader.bad);
    EXPECT_TRUE(reader.left.empty());
}

TEST(AcWireReader, a_field_that_ends_with_the_buffer_fits_and_one_byte_more_does_not)
{
    const Bytes bytes = {1, 2, 3, 4};
    wire_reader fits{bytes};
    EXPECT_EQ(wire_take<UINT32>(fits), 0x04030201U);
    EXPECT_FALSE(fits.bad);
    const Bytes cut = {1, 2, 3};
    wire_reader short_one{cut};
    EXPECT_EQ(wire_take<UINT32>(short_one), 0U);
    EXPECT_TRUE(short_one.bad);
}

TEST(AcWireReader, after_the_first_misfit_all_reads_are_zero)
{
    const Bytes bytes = {1, 2, 3};
    wire_reader reader{bytes};
    wire_take<UINT32>(reader);
    EXPECT_EQ(wire_take<UINT8>(reader), 0);
    EXPECT_TRUE(wire_take_bytes(reader, 1).empty());
    EXPECT_TRUE(reader.bad);
}

TEST(AcWireReader, a_skip_up_to_the_end_fits_and_beyond_it_does_not)
{
    const Bytes bytes = {1, 2, 3};
    wire_reader reader{bytes};
    wire_skip(reader, 3);
    EXPECT_FALSE(reader.bad);
    wire_skip(reader, 1);
    EXPECT_TRUE(reader.bad);
}

TEST(AcWireReader, a_skip_near_the_largest_size_does_not_wrap)
{
    const Bytes bytes = {1, 2, 3};
    wire_reader reader{bytes};
    wire_skip(reader, 1);
    wire_skip(reader, SIZE_MAX);
    EXPECT_TRUE(reader.bad);
}

TEST(AcWireReader, bytes_are_handed_out_where_they_lie)
{
    const Bytes bytes = {1, 2, 3, 4};
    wire_reader reader{bytes};
    const std::span<const UINT8> taken = wire_take_bytes(reader, 3);
    EXPECT_EQ(taken.data(), bytes.data());
    EXPECT_EQ(taken.size(), 3U);
    EXPECT_TRUE(wire_take_bytes(reader, 2).empty());
    EXPECT_TRUE(reader.bad);
}

TEST(AcWireReader, an_empty_buffer_has_nothing_to_give)
{
    wire_reader reader{};
    EXPECT_EQ(wire_take<UINT8>(reader), 0);
    EXPECT_TRUE(reader.bad);
}

TEST(AcWireReader, a_value_at_an_offset_must_fit_behind_it)
{
    const Bytes bytes = {1, 2, 3, 4};
    bool ok = true;
    EXPECT_EQ(wire_at<UINT16>(bytes, 2, ok), 0x0403);
    EXPECT_TRUE(ok);
    EXPECT_EQ(wire_at<UINT16>(bytes, 3, ok), 0);
    EXPECT_FALSE(ok);
    EXPECT_EQ(wire_at<UINT16>(bytes, 0, ok), 0x0201);
    EXPECT_FALSE(ok) << "a misfit must stay visible";
}

TEST(AcWireWriter, values_are_put_in_order_as_little_endian_bytes)
{
    Bytes bytes(8, 0xEE);
    wire_writer writer{bytes};
    wire_put(writer, UINT8{1});
    wire_put(writer, UINT16{0x0302});
    wire_put(writer, UINT32{0x07060504});
    EXPECT_FALSE(writer.bad);
    EXPECT_EQ(bytes, (Bytes{1, 2, 3, 4, 5, 6, 7, 0xEE}));
}

TEST(AcWireWriter, a_value_that_does_not_fit_is_not_begun)
{
    Bytes bytes(3, 0xEE);
    wire_writer writer{bytes};
    wire_put(writer, UINT32{1});
    EXPECT_TRUE(writer.bad);
    wire_put(writer, UINT8{1});
    EXPECT_EQ(bytes, (Bytes{0xEE, 0xEE, 0xEE})) << "what follows a misfit is dropped too";
}

TEST(AcWireWriter, padding_moves_on_and_leaves_the_bytes)
{
    Bytes bytes(4, 0xEE);
    wire_writer writer{bytes};
    wire_pad(writer, 3);
    wire_put(writer, UINT8{7});
    EXPECT_FALSE(writer.bad);
    EXPECT_EQ(bytes, (Bytes{0xEE, 0xEE, 0xEE, 7}));
    wire_pad(writer, 1);
    EXPECT_TRUE(writer.bad);
}

TEST(AcWireWriter, no_bytes_from_nowhere_are_fine)
{
    Bytes bytes(1, 0xEE);
    wire_writer writer{bytes};
    wire_put_bytes(writer, nullptr, 0);
    EXPECT_FALSE(writer.bad);
    EXPECT_EQ(writer.left.size(), 1U);
}
