"""The model of the schema in asn1/ against the counts and rows the type
tables give, and the record forms the emitters take from it."""
import collections
import glob
import os
import unittest

from . import ASN1_DIR
from itscodegen import layout, model

MODULE_COUNTS = {
    "CAM-PDU-Descriptions": 18, "DENM-PDU-Descriptions": 11, "SPATEM-PDU-Descriptions": 1,
    "MAPEM-PDU-Descriptions": 1, "IVIM-PDU-Descriptions": 1, "SREM-PDU-Descriptions": 1,
    "SSEM-PDU-Descriptions": 1, "AVIAEINumberingAndDataStructures": 3, "EfcDsrcApplication": 16,
    "EfcDsrcGeneric": 1, "CITSapplMgmtIDs": 4, "AddGrpC": 17, "DSRC": 191, "IVI": 116,
    "ElectronicRegistrationIdentificationVehicleDataModule": 6, "ITS-Container": 134,
}

REGION_ROWS = {
    "ETSI_DSRC_ConnectionManeuverAssist_regional_element": "ETSI_GrpC_ConnectionManeuverAssist_addGrpC",
    "ETSI_DSRC_IntersectionState_regional_element": "ETSI_GrpC_IntersectionState_addGrpC",
    "ETSI_DSRC_Position3D_regional_element": "ETSI_GrpC_Position3D_addGrpC",
    "ETSI_DSRC_NodeAttributeSetXY_regional_element": "ETSI_GrpC_Control_addGrpC",
    "ETSI_DSRC_GenericLane_regional_element": "ETSI_GrpC_ConnectionTrajectory_addGrpC",
    "ETSI_DSRC_RestrictionUserType_regional_element": "ETSI_GrpC_RestrictionUserType_addGrpC",
    "ETSI_DSRC_MapData_regional_element": "ETSI_GrpC_MapData_addGrpC",
    "ETSI_DSRC_SignalStatusPackage_regional_element": "ETSI_GrpC_SignalStatusPackage_addGrpC",
}


def load_schema():
    return model.load(glob.glob(os.path.join(ASN1_DIR, "*.asn")))


class SchemaCounts(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.m = load_schema()
        cls.types = cls.m.types

    def test_types_in_all_and_per_module(self):
        self.assertEqual(len(self.types), 522)
        got = {mod.name: len(mod.types) for mod in self.m.order}
        self.assertEqual(got, MODULE_COUNTS)

    def test_names_are_unique(self):
        names = collections.Counter(t.cname for t in self.types)
        self.assertEqual([n for n, c in names.items() if c > 1], [])

    def test_kinds(self):
        kinds = collections.Counter(t.kind for t in self.types)
        self.assertEqual(kinds["CHOICE"], 24)
        self.assertEqual(kinds["ENUMERATED"], 45)
        self.assertEqual(kinds["BITSTRING"], 24)

    def test_extension_markers(self):
        ext = collections.Counter(t.kind for t in self.types
                                  if t.kind in ("SEQUENCE", "CHOICE", "ENUMERATED", "INTEGER") and t.ext)
        lists = sum(1 for t in self.types if t.kind == "SEQOF" and t.size is not None and t.size.ext)
        self.assertEqual(dict(ext), {"SEQUENCE": 55, "CHOICE": 15, "ENUMERATED": 19, "INTEGER": 9})
        self.assertEqual(lists, 39)

    def test_control_class_families(self):
        fam = collections.Counter(t.family for t in self.types if t.family)
        self.assertEqual(sum(fam.values()), 151)
        self.assertEqual(fam["message"], 11)
        self.assertEqual(fam["number"], 23)
        self.assertEqual(fam["list"] + fam["region list"], 77)
        self.assertEqual(fam["region list"], 8)
        self.assertEqual(fam["array"], 16)
        self.assertEqual(fam["bitstring"], 24)

    def test_message_records_and_numbers(self):
        pdus = sorted(t.cname for t in self.types if t.family == "message")
        self.assertEqual(pdus, sorted(["CAM", "DENM", "SPATEM", "MAPEM", "IVIM", "SREM", "SSEM", "CS5",
                                       "AttributeIdList", "ETSI_DSRC_MessageFrame", "IVI_IVI"]))
        numbers = [t for t in self.types if t.family == "number"]
        self.assertTrue(all(t.cname.startswith("ITS_") and t.cname.endswith("SubCauseCode")
                            for t in numbers))
        self.assertNotIn("ITS_RoadworksSubCauseCode", [t.cname for t in numbers])

    def test_region_keyed_types_and_rows(self):
        rk = [t for t in self.types if t.region_keyed]
        self.assertEqual(len(rk), 26)
        known = {t.cname: t.open_comp.type.rows for t in rk if t.open_comp.type.rows}
        self.assertEqual(set(known), set(REGION_ROWS))
        for name, rows in known.items():
            self.assertEqual([(r.key, r.t, r.type.cname) for r in rows], [(3, 1, REGION_ROWS[name])])
        pos = known["ETSI_DSRC_Position3D_regional_element"][0]
        self.assertEqual(pos.tag, "_ETSI_REG_Reg_Position3D_addGrpC")
        self.assertEqual(pos.type.asn1name, "Position3D-addGrpC")
        lists = sorted(t.elem.cname for t in self.types if t.family == "region list")
        self.assertEqual(lists, sorted(REGION_ROWS))

    def test_message_frame_table(self):
        mf = self.m.type("ETSI_DSRC_MessageFrame")
        c = mf.open_comp
        self.assertEqual(c.name, "value")
        self.assertEqual(c.type.key_comp.name, "messageId")
        self.assertEqual([(r.key, r.t, r.type.cname, r.tag) for r in c.type.rows], [
            (18, 1, "ETSI_DSRC_MapData", "_ETSI_DSRC_MessageTypes_mapData"),
            (19, 2, "ETSI_DSRC_SPAT", "_ETSI_DSRC_MessageTypes_signalPhaseAndTimingMessage"),
            (29, 3, "ETSI_DSRC_SignalRequestMessage", "_ETSI_DSRC_MessageTypes_signalRequestMessage"),
            (30, 4, "ETSI_DSRC_SignalStatusMessage", "_ETSI_DSRC_MessageTypes_signalStatusMessage")])

    def test_list_forms_and_items(self):
        t = self.m.type
        self.assertEqual((t("ETSI_DSRC_EnabledLaneList").form, t("ETSI_DSRC_EnabledLaneList").item),
                         ("inline-array", "LaneID"))
        self.assertEqual(t("IVI_GicPart_detectionZoneIds").form, "dynamic-array")
        self.assertEqual(t("AttributeIdList").item, "INTEGER")
        self.assertEqual(t("ETSI_DSRC_Position3D_regional").item, "SEQUENCE")
        self.assertEqual(t("IVI_ISO14823Attributes").item, "CHOICE")
        self.assertEqual(t("IVI_DDD_ioList").item, "DDD-IO")
        self.assertEqual(t("ITS_Traces").form, "list")

    def test_identifiers_kept_as_written(self):
        t = self.m.type
        self.assertIn("transmisson", [c.name for c in t("ETSI_DSRC_TransmissionAndSpeed").comps])
        self.assertIn("euVehilcleCategoryT", [c.name for c in t("EuVehicleCategoryCode").comps])
        self.assertIn("bicyleUseAllowed", [b for b, _ in t("ETSI_DSRC_LaneAttributes_Crosswalk").bits])
        long_ = [c for c in t("ETSI_DSRC_Position3D").comps if c.name == "long"][0]
        self.assertEqual(long_.cid, "long_")


class RecordForms(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.m = load_schema()

    def rec(self, name):
        return layout.record_def(self.m.type(name))

    def test_integer_widths(self):
        self.assertEqual(self.rec("ITS_TimestampIts"), ("typedef", "uint64_t"))
        self.assertEqual(self.rec("ITS_Latitude"), ("typedef", "int32_t"))
        self.assertEqual(self.rec("ITS_LanePosition"), ("typedef", "int8_t"))
        self.assertEqual(self.rec("ETSI_DSRC_Elevation"), ("typedef", "int32_t"))
        self.assertEqual(self.rec("ITS_ValidityDuration"), ("typedef", "uint32_t"))
        self.assertEqual(self.rec("ITS_ProtectedZoneRadius"), ("typedef", "uint32_t"))
        self.assertEqual(self.rec("ETSI_DSRC_Offset_B16"), ("typedef", "int16_t"))
        self.assertEqual(self.rec("ETSI_DSRC_MsgCount"), ("typedef", "uint8_t"))
        wide = [t.cname for t in self.m.types if t.kind == "INTEGER"
                and layout.record_def(t)[1] in ("uint64_t", "int64_t")]
        self.assertEqual(wide, ["ITS_TimestampIts"])

    def test_string_forms(self):
        self.assertEqual(self.rec("ITS_DrivingLaneStatus"),
                         ("struct", [("uint8_t", "numbits"), ("uint8_t", "data[2]")]))
        self.assertEqual(self.rec("ITS_AccelerationControl"), ("struct", [("uint8_t", "data[1]")]))
        self.assertEqual(self.rec("CountryCode"), ("typedef", "ASN1TBitStr32"))
        self.assertEqual(self.rec("ETSI_DSRC_LaneAttributes_Vehicle"), ("struct", [
            ("uint8_t", "numbits"), ("uint8_t", "data[1]"), ("uint8_t*", "extdata")]))
        self.assertEqual(self.rec("ITS_PtActivationData"),
                         ("struct", [("uint8_t", "numocts"), ("uint8_t", "data[20]")]))
        self.assertEqual(self.rec("ETSI_DSRC_TemporaryID"), ("struct", [("uint8_t", "data[4]")]))
        self.assertEqual(self.rec("ETSI_DSRC_DescriptiveName"), ("typedef", "const char*"))
        fields = dict((n, c) for c, n in self.rec("CS5")[1])
        self.assertEqual(fields["fill"], "ASN1TBitStr32")
        fields = dict((n, c) for c, n in self.rec("IVI_TcPart")[1])
        self.assertEqual(fields["data"], "ASN1TDynOctStr64")

    def test_arrays_hold_one_slot_more(self):
        self.assertEqual(self.rec("ETSI_DSRC_EnabledLaneList"), ("struct", [
            ("uint8_t", "n"), ("ASN1T_ETSI_DSRC_LaneID", "elem[17]")]))
        self.assertEqual(self.rec("IVI_GicPart_detectionZoneIds"), ("struct", [
            ("uint64_t", "n"), ("ASN1T_IVI_Zid*", "elem")]))
        self.assertEqual(self.rec("ITS_PathHistory"), ("typedef", "ASN1TSeqOfList"))

    def test_sequence_and_choice_forms(self):
        seq = self.rec("ITS_ClosedLanes")[1]
        self.assertEqual([n for _, n in seq], ["hardShoulderStatus", "drivingLaneStatus", "extElem1"])
        hf = self.m.type("HighFrequencyContainer")
        self.assertEqual(layout.union_members(hf), [
            ("ASN1T_BasicVehicleContainerHighFrequency*", "basicVehicleContainerHighFrequency"),
            ("ASN1T_RSUContainerHighFrequency*", "rsuContainerHighFrequency"),
            ("ASN1OpenType*", "extElem1")])
        eu = layout.union_members(self.m.type("EuVehicleCategoryCode"))
        self.assertEqual([n for _, n in eu], ["euVehicleCategoryL", "euVehicleCategoryM",
                                              "euVehicleCategoryN", "euVehicleCategoryO"])
        lane = dict((n, c) for c, n in layout.union_members(self.m.type("ETSI_DSRC_LaneTypeAttributes")))
        self.assertEqual(lane["vehicle"], "ASN1T_ETSI_DSRC_LaneAttributes_Vehicle*")
        self.assertEqual(lane["crosswalk"], "ASN1T_ETSI_DSRC_LaneAttributes_Crosswalk")
        lda = dict((n, c) for c, n in layout.union_members(self.m.type("ETSI_DSRC_LaneDataAttribute")))
        self.assertEqual(lda["speedLimits"], "ASN1TSeqOfList*")

    def test_open_type_records(self):
        raw = dict((n, c) for c, n in self.rec("ETSI_DSRC_SPAT_regional_element")[1])
        self.assertEqual(raw["regExtValue"], "ASN1OpenType")
        known = dict((n, c) for c, n in self.rec("ETSI_DSRC_Position3D_regional_element")[1])
        self.assertEqual(known["regExtValue"], "struct { uint16_t t; union { ASN1OpenType* openType;"
                         " ASN1T_ETSI_GrpC_Position3D_addGrpC* addGrpC; } u; }")

    def test_init_and_free_exist_where_memory_is_owned(self):
        t = self.m.type
        self.assertFalse(layout.has_free(t("ITS_ItsPduHeader")))
        self.assertFalse(layout.has_init(t("ITS_ItsPduHeader")))
        self.assertTrue(layout.has_free(t("ITS_DangerousGoodsExtended")))  # strings
        self.assertFalse(layout.has_free(t("ETSI_DSRC_ComputedLane_offsetXaxis")))
        self.assertTrue(layout.has_free(t("ETSI_DSRC_IntersectionAccessPoint")))  # extensible
        self.assertFalse(layout.has_free(t("IVI_EDT")))  # same as IVI_DTM: all by value
        self.assertTrue(layout.has_free(t("IVI_TrainCharacteristics")))  # same as a record of lists
        self.assertFalse(layout.has_new(t("ITS_PathHistory")))
        self.assertFalse(layout.has_new(t("ETSI_DSRC_DescriptiveName")))
        self.assertTrue(layout.has_new(t("ITS_StationID")))


if __name__ == "__main__":
    unittest.main()
