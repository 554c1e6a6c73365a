#include "ac_mib/ac_product.h"

#include <algorithm>
#include <set>

#include "apconfig_fixture.h"

namespace {

class AcProduct : public TestWorld {};

std::string image_name_of(const std::string& name)
{
    UINT8 field[AC_NAME_LEN] = {};
    memcpy(field, name.data(), std::min(name.size(), sizeof field));
    UINT8 image[AC_NAME_LEN];
    memset(image, 0xEE, sizeof image);
    acwtp_image_name(field, image);
    EXPECT_EQ(image[AC_NAME_LEN - 1], 0);
    return text_of(image);
}

struct Kind {
    int ssid_num_24g, ssid_num_5g, rf_num, flag_old_crc;
    std::vector<UINT16> rows;
};

const Kind KINDS[] = {
    {2, 0, 1, 1, {1, 2, 3, 20, 34, 53, 54, 55}},
    {4, 0, 1, 1, {4, 5, 12, 13, 14, 15, 19, 21, 35, 36, 38, 49, 56, 57, 58, 59, 61, 63, 64, 65, 66}},
    {2, 0, 1, 0, {24, 33, 40, 41, 47, 60}},
    {4, 0, 1, 0, {25, 26, 27, 28, 37, 39, 42, 43, 44, 45, 48}},
    {8, 0, 1, 0, {6, 9, 16, 22, 23, 29, 50, 68}},
    {8, 4, 2, 0, {7, 8, 10, 11, 17, 18, 30, 31, 32, 46, 51, 52, 67}},
};

} // namespace

TEST_F(AcProduct, sixty_seven_rows_are_built_in_and_0_and_62_and_those_from_69_on_are_empty)
{
    int filled = 0;
    for (std::size_t i = 0; i < AC_PRODUCT_NUM; i++) {
        if (g_ap_product[i].ap_type == 0) continue;
        EXPECT_EQ(g_ap_product[i].ap_type, i);
        EXPECT_LE(i, 68U);
        filled++;
    }
    EXPECT_EQ(filled, 67);
    EXPECT_EQ(g_ap_product[0].ap_type, 0);
    EXPECT_EQ(g_ap_product[62].ap_type, 0);
}

TEST_F(AcProduct, every_built_in_row_is_of_its_kind)
{
    std::size_t rows = 0;
    for (const Kind& kind : KINDS) {
        for (UINT16 type : kind.rows) {
            SCOPED_TRACE(type);
            EXPECT_EQ(g_ap_product[type].ssid_num_24g, kind.ssid_num_24g);
            EXPECT_EQ(g_ap_product[type].ssid_num_5g, kind.ssid_num_5g);
            EXPECT_EQ(g_ap_product[type].rf_num, kind.rf_num);
            EXPECT_EQ(g_ap_product[type].flag_old_crc, kind.flag_old_crc);
        }
        rows += kind.rows.size();
    }
    EXPECT_EQ(rows, 67U);
}

TEST_F(AcProduct, a_built_in_row_is_named_after_its_number)
{
    for (std::size_t i = 1; i <= 68; i++) {
        if (i == 62) continue;
        const std::string name = "mdl" + std::to_string(i);
        EXPECT_EQ(text_of(g_ap_product[i].ap_name), name);
        EXPECT_EQ(text_of(g_ap_product[i].image_name), "/var/" + name + "_image");
    }
    EXPECT_EQ(text_of(g_ap_product[55].image_name), "/var/mdl55_image");
}

TEST_F(AcProduct, the_known_product_numbers_are_as_manufactured)
{
    EXPECT_EQ(g_ap_product[1].product_id, 0x11001U);
    EXPECT_EQ(g_ap_product[4].product_id, 0x12001U);
    EXPECT_EQ(g_ap_product[6].product_id, 0x30019U);
    EXPECT_EQ(g_ap_product[9].product_id, 0x20019U);
    EXPECT_EQ(g_ap_product[22].product_id, 0x1053001U);
    EXPECT_EQ(g_ap_product[30].product_id, 0x1014001U);
    EXPECT_EQ(g_ap_product[67].product_id, 0x54001U);
}

TEST_F(AcProduct, no_two_products_share_a_number)
{
    std::set<UINT32> ids;
    for (std::size_t i = 1; i <= 68; i++) {
        if (i == 62) continue;
        EXPECT_NE(g_ap_product[i].product_id, 0U);
        EXPECT_TRUE(ids.insert(g_ap_product[i].product_id).second) << i;
    }
}

TEST_F(AcProduct, the_upgrade_fields_start_at_0)
{
    for (const PRODUCT_AP& row : g_ap_product) {
        EXPECT_EQ(row.flag_image_file_using, 0);
        EXPECT_EQ(row.checked_image_file_using, 0);
    }
}

TEST_F(AcProduct, a_filled_row_is_handed_out_as_a_copy)
{
    PRODUCT_AP row;
    ASSERT_TRUE(acwtp_product_obtain(67, &row));
    EXPECT_EQ(text_of(row.ap_name), "mdl67");
    EXPECT_EQ(text_of(row.image_name), "/var/mdl67_image");
    EXPECT_EQ(row.product_id, 0x54001U);
    EXPECT_EQ(row.ssid_num_24g, 8);
    EXPECT_EQ(row.ssid_num_5g, 4);
    EXPECT_EQ(row.rf_num, 2);
    EXPECT_EQ(row.ap_type, 67);
}

TEST_F(AcProduct, an_empty_row_and_a_type_outside_the_table_are_handed_out_as_zeros)
{
    for (UINT16 type : {UINT16{0}, UINT16{62}, UINT16{69}, UINT16{199}, UINT16{200}, UINT16{65535}}) {
        PRODUCT_AP row;
        memset(&row, 0xEE, sizeof row);
        EXPECT_FALSE(acwtp_product_obtain(type, &row)) << type;
        EXPECT_EQ(row.ap_type, 0);
        EXPECT_EQ(row.ap_name[0], 0);
        EXPECT_EQ(row.product_id, 0U);
    }
}

TEST_F(AcProduct, an_empty_row_is_filled_with_its_image_name_formed)
{
    PRODUCT_AP values{};
    memcpy(values.ap_name, "new70", 5);
    values.product_id = 0x77001;
    values.ssid_num_24g = 3;
    values.ssid_num_5g = 2;
    values.rf_num = 2;
    values.flag_old_crc = 1;
    values.ap_type = 70;
    memset(values.image_name, 'x', sizeof values.image_name);
    EXPECT_TRUE(acwtp_product_fill(&values));
    EXPECT_EQ(text_of(g_ap_product[70].ap_name), "new70");
    EXPECT_EQ(text_of(g_ap_product[70].image_name), "/var/new70_image");
    EXPECT_EQ(g_ap_product[70].product_id, 0x77001U);
    EXPECT_EQ(g_ap_product[70].flag_old_crc, 1);
    EXPECT_EQ(g_ap_product[70].ap_type, 70);
    EXPECT_EQ(get_ssid_len(70), 5);
    EXPECT_EQ(get_rf_len(70), 2);
}

TEST_F(AcProduct, the_last_row_is_filled_and_one_behind_it_is_refused)
{
    PRODUCT_AP values{};
    values.rf_num = 1;
    values.ap_type = 199;
    EXPECT_TRUE(acwtp_product_fill(&values));
    EXPECT_EQ(g_ap_product[199].ap_type, 199);
    values.ap_type = 200;
    EXPECT_FALSE(acwtp_product_fill(&values));
    EXPECT_FALSE(acwtp_product_load(&values));
    values.ap_type = 65535;
    EXPECT_FALSE(acwtp_product_fill(&values));
}

TEST_F(AcProduct, type_0_is_never_filled)
{
    PRODUCT_AP values{};
    values.rf_num = 1;
    EXPECT_FALSE(acwtp_product_fill(&values));
    EXPECT_FALSE(acwtp_product_load(&values));
    EXPECT_EQ(g_ap_product[0].rf_num, 0);
}

TEST_F(AcProduct, a_filled_row_is_not_overwritten_by_what_an_ap_says)
{
    PRODUCT_AP values{};
    memcpy(values.ap_name, "other", 5);
    values.ssid_num_24g = 1;
    values.ap_type = 67;
    EXPECT_TRUE(acwtp_product_fill(&values));
    EXPECT_EQ(text_of(g_ap_product[67].ap_name), "mdl67");
    EXPECT_EQ(g_ap_product[67].ssid_num_24g, 8);
}

TEST_F(AcProduct, the_load_at_start_overwrites_a_filled_row)
{
    PRODUCT_AP values{};
    memcpy(values.ap_name, "stored", 6);
    values.ssid_num_24g = 1;
    values.rf_num = 1;
    values.ap_type = 67;
    EXPECT_TRUE(acwtp_product_load(&values));
    EXPECT_EQ(text_of(g_ap_product[67].ap_name), "stored");
    EXPECT_EQ(text_of(g_ap_product[67].image_name), "/var/stored_image");
    EXPECT_EQ(g_ap_product[67].ssid_num_24g, 1);
}

TEST_F(AcProduct, an_image_name_takes_a_product_name_of_20_characters_and_cuts_the_21st)
{
    EXPECT_EQ(image_name_of("abcdefghijklmnopqrst"), "/var/abcdefghijklmnopqrst_image");
    EXPECT_EQ(image_name_of("abcdefghijklmnopqrstu"), "/var/abcdefghijklmnopqrst_image");
    EXPECT_EQ(image_name_of(std::string(32, 'n')), "/var/" + std::string(20, 'n') + "_image");
}

TEST_F(AcProduct, an_image_name_holds_only_bytes_that_are_harmless_in_a_path_and_a_shell)
{
    EXPECT_EQ(image_name_of("AZaz09.-_"), "/var/AZaz09.-__image");
    EXPECT_EQ(image_name_of("a/../b"), "/var/a_.._b_image");
    EXPECT_EQ(image_name_of("$(id);'\"`|& \n\x80\xff%s"), "/var/__id" + std::string(12, '_') + "s_image");
    EXPECT_EQ(image_name_of(""), "/var/_image");
}

TEST_F(AcProduct, ssid_counts_are_those_of_the_row)
{
    EXPECT_EQ(get_ssid_num_24g(67), 8);
    EXPECT_EQ(get_ssid_num_5g(67), 4);
    EXPECT_EQ(get_ssid_len(67), 12);
    EXPECT_EQ(get_rf_len(67), 2);
    EXPECT_EQ(get_ssid_len(1), 2);
    EXPECT_EQ(get_rf_len(1), 1);
}

TEST_F(AcProduct, an_empty_row_counts_0_and_prints_nothing)
{
    EXPECT_EQ(output_of([] {
                  EXPECT_EQ(get_ssid_len(199), 0);
                  EXPECT_EQ(get_rf_len(199), 0);
                  EXPECT_EQ(get_ssid_len(0), 0);
              }),
              "");
}

TEST_F(AcProduct, the_ssid_counts_by_radio_of_type_200_are_0_and_print_nothing)
{
    EXPECT_EQ(output_of([] {
                  EXPECT_EQ(get_ssid_num_24g(200), 0);
                  EXPECT_EQ(get_ssid_num_5g(200), 0);
              }),
              "");
}

TEST_F(AcProduct, the_ssid_count_of_type_200_is_0_and_prints)
{
    const std::string out = output_of([] { EXPECT_EQ(get_ssid_len(200), 0); });
    EXPECT_EQ(error_texts(out), Texts{"aptype:200"});
}

TEST_F(AcProduct, the_radio_count_of_type_200_is_0_and_prints)
{
    const std::string out = output_of([] { EXPECT_EQ(get_rf_len(200), 0); });
    EXPECT_EQ(error_texts(out), Texts{"aptype:200 is big than Max:200"});
}
