/* Pixel format codes: GenICam PFNC codes for the standard formats, bit 30 set for the
 * library's own formats (names ending in UMB). PLOX_IPL_PIXEL_FORMAT_NAMES(X) calls
 * X(name, code) once per format so that C and C++ enumerations and name lookups are all
 * generated from this one list. */
#ifndef UMB_PLOX_IPL_PIXEL_FORMAT_NAMES_H
#define UMB_PLOX_IPL_PIXEL_FORMAT_NAMES_H

#define PLOX_IPL_PIXEL_FORMAT_NAMES(X) \
    X(Invalid, 0x00000000) \
    X(BayerGR8, 0x01080008) \
    X(BayerGR10, 0x0110000C) \
    X(BayerGR12, 0x01100010) \
    X(BayerRG8, 0x01080009) \
    X(BayerRG10, 0x0110000D) \
    X(BayerRG12, 0x01100011) \
    X(BayerGB8, 0x0108000A) \
    X(BayerGB10, 0x0110000E) \
    X(BayerGB12, 0x01100012) \
    X(BayerBG8, 0x0108000B) \
    X(BayerBG10, 0x0110000F) \
    X(BayerBG12, 0x01100013) \
    X(Mono8, 0x01080001) \
    X(Mono10, 0x01100003) \
    X(Mono12, 0x01100005) \
    X(Mono16, 0x01100007) \
    X(Confidence8, 0x010800C6) \
    X(Confidence16, 0x011000C7) \
    X(Coord3D_C8, 0x010800B1) \
    X(Coord3D_C16, 0x011000B8) \
    X(Coord3D_C32f, 0x012000BF) \
    X(Coord3D_ABC32f, 0x026000C0) \
    X(YUV420_8_YY_UV_SemiplanarUMB, 0x420C0001) \
    X(YUV420_8_YY_VU_SemiplanarUMB, 0x420C0002) \
    X(YUV422_8_UYVY, 0x0210001F) \
    X(RGB8, 0x02180014) \
    X(RGB10, 0x02300018) \
    X(RGB12, 0x0230001A) \
    X(BGR8, 0x02180015) \
    X(BGR10, 0x02300019) \
    X(BGR12, 0x0230001B) \
    X(RGBa8, 0x02200016) \
    X(RGBa10, 0x0240005F) \
    X(RGBa12, 0x02400061) \
    X(BGRa8, 0x02200017) \
    X(BGRa10, 0x0240004C) \
    X(BGRa12, 0x0240004E) \
    X(BayerBG10p, 0x010A0052) \
    X(BayerBG12p, 0x010C0053) \
    X(BayerGB10p, 0x010A0054) \
    X(BayerGB12p, 0x010C0055) \
    X(BayerGR10p, 0x010A0056) \
    X(BayerGR12p, 0x010C0057) \
    X(BayerRG10p, 0x010A0058) \
    X(BayerRG12p, 0x010C0059) \
    X(Mono10p, 0x010A0046) \
    X(Mono12p, 0x010C0047) \
    X(RGB10p32, 0x0220001D) \
    X(BGR10p32, 0x0220001E) \
    X(BayerRG10g40UMB, 0x40000001) \
    X(BayerGB10g40UMB, 0x40000002) \
    X(BayerGR10g40UMB, 0x40000003) \
    X(BayerBG10g40UMB, 0x40000004) \
    X(BayerRG12g24UMB, 0x40000011) \
    X(BayerGB12g24UMB, 0x40000012) \
    X(BayerGR12g24UMB, 0x40000013) \
    X(BayerBG12g24UMB, 0x40000014) \
    X(Mono10g40UMB, 0x4000000F) \
    X(Mono12g24UMB, 0x4000001F)

#define PLOX_IPL_PIXEL_FORMAT_ENUMERATOR_(name, code) PLOX_IPL_PIXEL_FORMAT_##name = code,
typedef enum PLOX_IPL_PIXEL_FORMAT_NAME {
    PLOX_IPL_PIXEL_FORMAT_NAMES(PLOX_IPL_PIXEL_FORMAT_ENUMERATOR_)
} PLOX_IPL_PIXEL_FORMAT_NAME;
#undef PLOX_IPL_PIXEL_FORMAT_ENUMERATOR_

#endif
